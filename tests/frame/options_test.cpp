#include "scan/options.h"

#include <gtest/gtest.h>

#include <utility>

#include "qorcolor/cmyk.h"

namespace {

using QorSc::Options;
using Entry = QorDoc::Separation::Entry;
using Rep = QorDoc::Separation::Representation;

std::vector<Entry> Table() {
  return {Entry("Gold", Rep({0.0f, 0.2f, 0.8f, 0.1f}))};
}

QorColor::Color Plates() {
  return QorColor::Color{{"Cyan", 0.0f}, {"Gold", 0.0f}, {"Black", 0.0f}};
}

TEST(Options, ConstructorsFixListsAndOutputMode) {
  const Options gray(false, {});
  ASSERT_EQ(gray.GetBlendingSeparations().Size(), 1u);
  EXPECT_EQ(gray.GetBlendingSeparations().GetName(0), "Black");
  EXPECT_EQ(gray.GetOutputMode(), Options::kGray);
  EXPECT_EQ(gray.GetOutputMode(), 2);
  EXPECT_TRUE(gray.GetSeparationInfo().empty());

  const Options process(true, Table());
  EXPECT_EQ(process.GetBlendingSeparations(), QorColor::GetCMYKColorSpace());
  EXPECT_EQ(process.GetOutputMode(), 1);
  EXPECT_EQ(process.GetSeparationInfo(), Table());

  const Options plates(Plates(), Table());
  EXPECT_EQ(plates.GetBlendingSeparations(), Plates());
  EXPECT_EQ(plates.GetOutputMode(), 0);

  for (const Options* o : {&gray, &process, &plates}) {
    EXPECT_EQ(o->GetHalftoneMode(), QorSc::kHalftoneNone);
    EXPECT_EQ(o->GetNoiseForShadings(), 0u);
    EXPECT_EQ(o->GetMinimalStrokeWidth(), 0);
  }
}

TEST(Options, EqualityComparesAllSixFields) {
  const Options base(Plates(), Table());
  EXPECT_EQ(base, Options(Plates(), Table()));

  Options other = base;
  other.SetMinimalStrokeWidth(1);
  EXPECT_NE(base, other) << "minimal stroke width alone";
  other = base;
  other.SetNoiseForShadings(3);
  EXPECT_NE(base, other);
  other = base;
  other.SetHalftoneMode(QorSc::kHalftoneLabels);
  EXPECT_NE(base, other);
  EXPECT_NE(base, Options(Plates(), {}));
  QorColor::Color reordered{{"Gold", 0.0f}, {"Cyan", 0.0f}, {"Black", 0.0f}};
  EXPECT_NE(base, Options(reordered, Table()));
  // Same list, different output mode.
  EXPECT_NE(Options(true, {}), Options(QorColor::GetCMYKColorSpace(), {}));
}

TEST(Options, AssignmentCopiesEveryFieldAndSurvivesSelfAssignment) {
  Options source(Plates(), Table());
  source.SetHalftoneMode(QorSc::kHalftoneLabelsFullInk);
  source.SetNoiseForShadings(7);
  source.SetMinimalStrokeWidth(36);

  Options copy(false, {});
  copy = source;
  EXPECT_EQ(copy, source);

  Options& alias = copy;
  copy = alias;
  EXPECT_EQ(copy, source);
  copy = std::move(alias);
  EXPECT_EQ(copy, source);

  Options moved(true, {});
  moved = std::move(copy);
  EXPECT_EQ(moved, source);
  const Options constructed(std::move(moved));
  EXPECT_EQ(constructed, source);
}

}  // namespace
