// Annotations drawn as printed: the normal appearance (/AP /N, the /AS state of a
// dictionary of states) of every annotation with the print flag and without the
// hidden one, over the page content, in /Annots order.
//
// An appearance is a form placed as PDF places it: its /BBox transformed by its
// /Matrix gives a box, which is scaled and moved onto the annotation's /Rect; the
// form then runs there like any form (its /Matrix, its /BBox clip) with the page's
// initial graphics state. Annotations without a usable appearance draw nothing and
// are reported, except links and pop-ups, which never print.
#include <algorithm>
#include <cmath>
#include <exception>
#include <new>
#include <string>
#include <utility>

#include "content/interpreter_frame.h"

namespace QorPdf::internal {
namespace {

constexpr long long kHiddenFlag = 1 << 1;
constexpr long long kPrintFlag = 1 << 2;

// The smallest rectangle holding `box` transformed by `m`.
QPDFObjectHandle::Rectangle Bounds(const QPDFObjectHandle::Rectangle& box, const Matrix& m) {
  const double xs[] = {box.llx, box.urx};
  const double ys[] = {box.lly, box.ury};
  QPDFObjectHandle::Rectangle out(HUGE_VAL, HUGE_VAL, -HUGE_VAL, -HUGE_VAL);
  for (double x : xs) {
    for (double y : ys) {
      const double tx = m.a * x + m.c * y + m.e;
      const double ty = m.b * x + m.d * y + m.f;
      out.llx = std::min(out.llx, tx);
      out.urx = std::max(out.urx, tx);
      out.lly = std::min(out.lly, ty);
      out.ury = std::max(out.ury, ty);
    }
  }
  return out;
}

QPDFObjectHandle::Rectangle Normalized(const QPDFObjectHandle::Rectangle& r) {
  return {std::min(r.llx, r.urx), std::min(r.lly, r.ury), std::max(r.llx, r.urx),
          std::max(r.lly, r.ury)};
}

bool HasArea(const QPDFObjectHandle::Rectangle& r) {
  return std::isfinite(r.urx - r.llx) && std::isfinite(r.ury - r.lly) && r.urx > r.llx &&
         r.ury > r.lly;
}

}  // namespace

void ContentInterpreter::RunAnnotations(QPDFObjectHandle page, QorDoc::Content& content,
                                        const Matrix& base) {
  QPDFObjectHandle annots = page.getKey("/Annots");
  if (annots.isNull()) return;
  if (!annots.isArray()) return Warn("/Annots", "not an array: no annotation drawn");

  const GraphicsState fresh = InitialState(base, content);
  Frame frame;
  // Appearances without resources of their own use the page's, as forms do.
  QPDFObjectHandle resources = QPDFPageObjectHelper(page).getAttribute("/Resources", false);
  frame.resources = resources.isDictionary() ? resources : QPDFObjectHandle::newDictionary();
  frame.default_ctm = base;
  Frame* const outer = frame_;
  frame_ = &frame;

  int index = 0;
  for (QPDFObjectHandle annot : annots.aitems()) {
    ++index;
    if (!incomplete_.empty()) break;
    try {
      frame.gs = fresh;
      RunAnnotation(annot, index, content);
    } catch (const std::bad_alloc&) {
      frame_ = outer;
      throw;
    } catch (const std::exception& e) {
      Warn("annotation " + std::to_string(index), std::string("unreadable: ") + e.what());
    }
  }
  frame_ = outer;
}

void ContentInterpreter::RunAnnotation(QPDFObjectHandle annot, int index,
                                       QorDoc::Content& content) {
  if (!annot.isDictionary()) {
    Warn("/Annots", "entry " + std::to_string(index) + " is not a dictionary: skipped");
    return;
  }
  QPDFObjectHandle subtype_object = annot.getKey("/Subtype");
  const std::string subtype =
      subtype_object.isName() ? subtype_object.getName().substr(1) : std::string("?");
  const std::string name = "annotation " + std::to_string(index) + " (" + subtype + ")";
  QPDFObjectHandle flags_object = annot.getKey("/F");
  const long long flags = flags_object.isInteger() ? flags_object.getIntValue() : 0;
  // What prints: the print flag set, the hidden flag clear.
  if ((flags & kHiddenFlag) != 0 || (flags & kPrintFlag) == 0) return;

  auto skip = [&](const std::string& reason) {
    Skip("annotation without a usable appearance", name, reason + ": not drawn");
  };
  QPDFObjectHandle normal = annot.getKey("/AP");
  normal = normal.isDictionary() ? normal.getKey("/N") : QPDFObjectHandle::newNull();
  if (normal.isNull()) {
    if (subtype != "Link" && subtype != "Popup") skip("no normal appearance (/AP /N)");
    return;
  }
  if (!normal.isStream() && normal.isDictionary()) {
    QPDFObjectHandle state = annot.getKey("/AS");
    if (!state.isName()) {
      skip("appearance states without /AS to choose one");
      return;
    }
    // A state the dictionary lacks (an Off state left out) draws nothing, as PDF says.
    normal = normal.getKey(state.getName());
    if (normal.isNull()) return;
  }
  if (!normal.isStream()) {
    skip("the appearance is not a stream");
    return;
  }
  QPDFObjectHandle rect_object = annot.getKey("/Rect");
  if (!rect_object.isRectangle()) {
    skip("/Rect is not a rectangle");
    return;
  }
  const QPDFObjectHandle::Rectangle rect = Normalized(rect_object.getArrayAsRectangle());
  QPDFObjectHandle bbox_object = normal.getDict().getKey("/BBox");
  if (!bbox_object.isRectangle()) {
    skip("the appearance has no /BBox");
    return;
  }
  const Matrix matrix = ReadMatrix(normal.getDict().getKey("/Matrix")).value_or(Matrix{});
  const QPDFObjectHandle::Rectangle box =
      Bounds(Normalized(bbox_object.getArrayAsRectangle()), matrix);
  if (!HasArea(rect) || !HasArea(box)) {
    skip("its /Rect or its appearance's /BBox is empty");
    return;
  }
  const double sx = (rect.urx - rect.llx) / (box.urx - box.llx);
  const double sy = (rect.ury - rect.lly) / (box.ury - box.lly);
  frame_->gs.ctm =
      Morv::Compose(frame_->default_ctm,
                    Matrix{sx, 0.0, 0.0, sy, rect.llx - sx * box.llx, rect.lly - sy * box.lly});
  QPDFObjectHandle oc = annot.getKey("/OC");
  if (!oc.isNull()) {
    if (auto expression = context_.optional_content.ExpressionFor(oc, page_)) {
      QorDoc::Content& members = context_.builder.AddContent();
      context_.builder.AddLayer(content, members, std::move(*expression));
      frame_->gs.target = &members;
    }
  }
  DoForm(normal, name);
}

}  // namespace QorPdf::internal
