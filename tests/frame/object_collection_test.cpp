#include "scan/object_collection.h"

#include <gtest/gtest.h>

#include <type_traits>

#include "composite/intervals_filler.h"
#include "scan/object_selection.h"

namespace {

using QorSc::ObjectCollection;
using QorSc::ObjectInfoContainer;

// Read while this test binary is statically initialised: kAllSelection must already
// be usable then.
const bool kAllSelectionFlagAtStartup = QorSc::kAllSelection.flag;
const bool kAllSelectionFiltersAtStartup = QorSc::kAllSelection.layerFilter(nullptr) &&
                                           static_cast<bool>(QorSc::kAllSelection.objectFilter);

// A record that reports its destruction.
class CountedRecord : public QorSc::ObjectInfo {
 public:
  explicit CountedRecord(int* destroyed) : ObjectInfo({0, 0, 1, 1}), destroyed_(destroyed) {}
  ~CountedRecord() override { ++*destroyed_; }
  std::unique_ptr<QorSc::IntervalsFiller> CreateFiller(QorSc::LineRenderer&) override {
    return nullptr;
  }

 private:
  int* destroyed_;
};

ObjectCollection MakeCollection(int* destroyed, int records) {
  auto container = std::make_unique<ObjectInfoContainer>();
  for (int i = 0; i < records; ++i)
    container->Append(std::make_unique<CountedRecord>(destroyed));
  const QorSc::Environment env(Morv::MilliPointRectangle(0.0, 0.0, 72000.0, 72000.0), 100, 100);
  return ObjectCollection(env, QorSc::Options(true, {}), {0, 0, 100, 100}, std::move(container));
}

TEST(ObjectCollection, OwnsItsRecordsAndHandsThemOnWhenMoved) {
  int destroyed = 0;
  {
    ObjectCollection a = MakeCollection(&destroyed, 3);
    ASSERT_NE(a.objects, nullptr);
    EXPECT_EQ(a.objects->records.size(), 3u);
    EXPECT_EQ(a.pixelBox, (QorMath::Rectangle<long long>{0, 0, 100, 100}));
    EXPECT_EQ(a.options.GetOutputMode(), QorSc::Options::kProcess);

    ObjectCollection b(std::move(a));
    EXPECT_EQ(a.objects, nullptr) << "a moved-from collection holds no container";
    EXPECT_EQ(a.options, b.options) << "the options are copied, not moved";
    EXPECT_EQ(b.objects->records.size(), 3u);
    EXPECT_EQ(destroyed, 0);

    ObjectCollection c = MakeCollection(&destroyed, 2);
    c = std::move(b);
    EXPECT_EQ(destroyed, 2) << "assignment destroys the records it replaces";
    EXPECT_EQ(c.objects->records.size(), 3u);
  }
  EXPECT_EQ(destroyed, 5);
}

TEST(ObjectCollection, ContainerStartsAsThePageLevel) {
  const ObjectInfoContainer page;
  EXPECT_TRUE(page.records.empty());
  EXPECT_EQ(page.isolated, 1);
  EXPECT_EQ(page.knockout, 0);
  const ObjectInfoContainer group(0, 1);
  EXPECT_EQ(group.isolated, 0);
  EXPECT_EQ(group.knockout, 1);
}

TEST(ObjectSelection, AllSelectionTakesEverything) {
  EXPECT_TRUE(kAllSelectionFlagAtStartup);
  EXPECT_TRUE(kAllSelectionFiltersAtStartup);
  // An ObjectSelection like any other: its fields, its address, a copy.
  static_assert(std::is_same_v<decltype(QorSc::kAllSelection), const QorSc::ObjectSelection>);
  EXPECT_TRUE(QorSc::kAllSelection.flag);
  EXPECT_TRUE(QorSc::kAllSelection.layerFilter(nullptr));
  const QorSc::ObjectSelection* address = &QorSc::kAllSelection;
  EXPECT_TRUE(address->flag);
  QorSc::ObjectSelection copy = QorSc::kAllSelection;
  copy.flag = false;
  EXPECT_TRUE(QorSc::kAllSelection.flag) << "a copy is a copy";
  EXPECT_TRUE(copy.layerFilter(nullptr));
  EXPECT_TRUE(static_cast<bool>(copy.objectFilter));
}

}  // namespace
