// A form or glyph procedure run again takes the compounds its first run built,
// where it builds the same paths bit for bit.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "../color/color_test_support.h"
#include "morv/compound.h"
#include "page_run.h"
#include "qordoc/content.h"
#include "warning_list.h"

namespace QorPdf::internal {
namespace {

using test::PdfObjects;

void CollectPaths(const QorDoc::Content& content, std::vector<const QorDoc::Path*>& out) {
  for (const auto& member : content.GetMembers()) {
    const auto* path = dynamic_cast<const QorDoc::Path*>(member.get());
    if (path != nullptr && !path->IsClippingObject()) out.push_back(path);
    if (const auto* group = dynamic_cast<const QorDoc::Group*>(member.get())) {
      CollectPaths(group->GetMembers(), out);
    }
  }
}

TEST(RepeatedPaths, ASecondPlacementSharesTheFirstOnesCompounds) {
  PdfObjects objects;
  WarningList warnings;
  const QPDFObjectHandle form =
      objects.Stream("<< /Type /XObject /Subtype /Form /BBox [0 0 50 50] >>",
                     "1 1 m 5 5 l S 0 0 3 3 re f 1 1 m 2 2 l 3 1 l h f* 1 1 m 5 5 l S");
  QPDFObjectHandle page = objects.Parse("<< /Type /Page /MediaBox [0 0 100 100] >>");
  page.replaceKey("/Contents", objects.Stream("<< >>",
                                              "/F Do q 2 0 0 2 0 0 cm /F Do Q "
                                              "1 1 m 5 5 l S"));
  page.replaceKey("/Resources",
                  objects.Parse("<< /XObject << /F " + PdfObjects::Ref(form) + " >> >>"));
  const test::PageRun run(objects.pdf, warnings, page);

  std::vector<const QorDoc::Path*> paths;
  CollectPaths(run.Content(), paths);
  ASSERT_EQ(paths.size(), 9u);
  for (std::size_t i = 0; i < 4; ++i) {
    EXPECT_EQ(paths[i + 4]->DefiningCompound(), paths[i]->DefiningCompound()) << i;
    EXPECT_NE(paths[i + 4]->GetTransformation(), paths[i]->GetTransformation()) << i;
  }
  // Within one run equal paths stay objects of their own, and so does the page's.
  EXPECT_NE(paths[3]->DefiningCompound(), paths[0]->DefiningCompound());
  EXPECT_NE(paths[8]->DefiningCompound(), paths[0]->DefiningCompound());
  EXPECT_EQ(paths[6]->DefiningCompound()->GetWindingRule(), Morv::kEvenOdd);
  EXPECT_TRUE(paths[6]->DefiningCompound()->GetSubpaths().front().IsClosed());
}

}  // namespace
}  // namespace QorPdf::internal
