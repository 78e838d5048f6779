#include "scan/object_collection.h"

#include <gtest/gtest.h>

#include "composite/intervals_filler.h"
#include "scan/object_selection.h"

namespace {

using QorSc::ObjectCollection;
using QorSc::ObjectInfoContainer;

// Read while this test binary is statically initialised: kAllSelection must already
// be usable then.
const bool kAllSelectionFlagAtStartup = QorSc::kAllSelection->flag;

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
  const QorSc::ObjectSelection& all = QorSc::kAllSelection;
  EXPECT_TRUE(all.flag);
  EXPECT_TRUE(all.layerFilter(nullptr));
  EXPECT_TRUE(static_cast<bool>(all.objectFilter));
  EXPECT_EQ(&all, &QorSc::AllSelection::Get()) << "one object for every use";
}

}  // namespace
