// Paths painted in a colour of their own are made in one block with their compound and
// paint; later paths of the same colour share that paint, and a clip by the painted
// path takes the same compound.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "../color/color_test_support.h"
#include "morv/compound.h"
#include "page_run.h"
#include "qordoc/content.h"
#include "qorpaint/paint.h"
#include "warning_list.h"

namespace QorPdf::internal {
namespace {

using test::PdfObjects;

QorColor::Color Ink(const QorDoc::Fillable& object) {
  return dynamic_cast<const QorPaint::FlatPaint&>(*object.GetFillPaint()).GetColor();
}

void CollectPaths(const QorDoc::Content& content, std::vector<const QorDoc::Path*>& out) {
  for (const auto& member : content.GetMembers()) {
    if (const auto* path = dynamic_cast<const QorDoc::Path*>(member.get())) out.push_back(path);
    if (const auto* group = dynamic_cast<const QorDoc::Group*>(member.get())) {
      CollectPaths(group->GetMembers(), out);
    }
  }
}

TEST(PathsInOneBlock, EachColourIsMadeOnceAndSharedByTheObjectsPaintedInIt) {
  PdfObjects objects;
  WarningList warnings;
  QPDFObjectHandle page = objects.Parse("<< /Type /Page /MediaBox [0 0 100 100] >>");
  page.replaceKey("/Contents", objects.Stream("<< >>",
                                              "0.1 0.2 0.3 0.4 k 0 0 10 10 re f "
                                              "0 0 0 1 k 5 5 10 10 re f 20 20 5 5 re f "
                                              "0 0 0 1 K 2 w 1 1 m 9 9 l S "
                                              "0 0 1 0 k 30 30 5 5 re B "
                                              "0 1 0 0 k 40 40 5 5 re W f 50 50 5 5 re W* f"));
  const test::PageRun run(objects.pdf, warnings, page);

  std::vector<const QorDoc::Path*> paths;
  CollectPaths(run.Content(), paths);
  std::vector<const QorDoc::Path*> painted;
  for (const auto* path : paths) {
    if (!path->IsClippingObject()) painted.push_back(path);
  }
  ASSERT_EQ(painted.size(), 7u);
  EXPECT_EQ(
      Ink(*painted[0]),
      (QorColor::Color{{"Cyan", 0.1f}, {"Magenta", 0.2f}, {"Yellow", 0.3f}, {"Black", 0.4f}}));
  EXPECT_EQ(
      Ink(*painted[1]),
      (QorColor::Color{{"Cyan", 0.0f}, {"Magenta", 0.0f}, {"Yellow", 0.0f}, {"Black", 1.0f}}));
  // The second rectangle of a colour takes the first one's paint.
  EXPECT_NE(painted[0]->GetFillPaint(), painted[1]->GetFillPaint());
  EXPECT_EQ(painted[2]->GetFillPaint(), painted[1]->GetFillPaint());
  // Colour lists are shared however the paint is held.
  const auto colorants = [](const QorDoc::Path* p) {
    return &dynamic_cast<const QorPaint::FlatPaint&>(*p->GetFillPaint()).GetColorants();
  };
  EXPECT_EQ(colorants(painted[0]), colorants(painted[2]));
  // A stroke keeps no fill; a fill and stroke keeps both.
  EXPECT_EQ(painted[3]->GetFillPaint(), nullptr);
  ASSERT_NE(painted[3]->GetStrokePaint(), nullptr);
  EXPECT_EQ(painted[4]->GetStrokePaint(), painted[3]->GetStrokePaint());
  EXPECT_EQ(Ink(*painted[4])[2].tint, 1.0f);
  for (const auto* path : painted) {
    EXPECT_EQ(path->DefiningCompound().get(), &path->GetCompound());
    EXPECT_FALSE(path->GetCompound().GetSubpaths().empty());
  }

  // A clip by the painted path, under the painting's rule, takes its very compound;
  // under another rule the same subpaths.
  std::vector<const QorDoc::Path*> clips;
  for (const auto* path : paths) {
    if (path->IsClippingObject()) clips.push_back(path);
  }
  ASSERT_EQ(clips.size(), 2u);
  EXPECT_EQ(clips[0]->DefiningCompound(), painted[5]->DefiningCompound());
  EXPECT_EQ(clips[1]->GetCompound().GetWindingRule(), Morv::kEvenOdd);
  EXPECT_EQ(painted[6]->GetCompound().GetWindingRule(), Morv::kNonZero);
  EXPECT_EQ(clips[1]->GetCompound().GetSubpaths().front().VectorPoints()[2],
            painted[6]->GetCompound().GetSubpaths().front().VectorPoints()[2]);
}

}  // namespace
}  // namespace QorPdf::internal
