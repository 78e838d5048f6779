// Page geometry from the page dictionary and its ancestors.
//
// A key whose value is null counts as absent, so the search goes on to the parent.
// The nearest node that has a key decides it: if that value is unusable the default
// applies, rather than a value further up, because the page's author meant to
// override the ancestors. Ancestors are followed through /Parent; a loop ends the
// chain with a warning. Warning texts describe a bad value by its type and size
// rather than printing it, so that a huge malformed array costs nothing to report.
#include "page_attributes.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "qpdf_headers.h"

namespace QorPdf::internal {
namespace {

std::string FormatNumber(double value) {
  std::array<char, 32> text{};
  const auto result = std::to_chars(text.data(), text.data() + text.size(), value);
  return std::string(text.data(), result.ptr);
}

std::string ObjectName(const QPDFObjectHandle& object) {
  return "object " + std::to_string(object.getObjectID()) + " " +
         std::to_string(object.getGeneration());
}

// The page followed by its ancestors, nearest first.
std::vector<QPDFObjectHandle> Lineage(QPDFObjectHandle page, std::size_t index,
                                      WarningList& warnings) {
  std::vector<QPDFObjectHandle> chain;
  std::set<QPDFObjGen> seen;
  QPDFObjectHandle node = page;
  while (node.isDictionary()) {
    // Direct dictionaries cannot form a loop, only references can.
    if (node.isIndirect() && !seen.insert(node.getObjGen()).second) {
      warnings.Add(index, "/Parent",
                   "the page tree loops back to " + ObjectName(node) +
                       "; attributes are inherited only from the nodes before it");
      return chain;
    }
    chain.push_back(node);
    node = node.getKey("/Parent");
  }
  if (!node.isNull()) {
    warnings.Add(index, "/Parent",
                 std::string("is a ") + node.getTypeName() +
                     ", not a dictionary; attributes are inherited only from the nodes below it");
  }
  return chain;
}

QPDFObjectHandle Inherited(const std::vector<QPDFObjectHandle>& chain, const std::string& key) {
  for (QPDFObjectHandle node : chain) {
    QPDFObjectHandle value = node.getKey(key);
    if (!value.isNull()) return value;
  }
  return QPDFObjectHandle::newNull();
}

// A box from any two opposite corners, or why it cannot be one.
std::optional<Box> ParseBox(QPDFObjectHandle value, std::string& problem) {
  if (!value.isArray()) {
    problem = std::string("is a ") + value.getTypeName() + ", not an array";
    return std::nullopt;
  }
  const int count = value.getArrayNItems();
  if (count != 4) {
    problem = "has " + std::to_string(count) + " elements, not 4";
    return std::nullopt;
  }
  std::array<double, 4> v{};
  for (int i = 0; i < 4; ++i) {
    QPDFObjectHandle item = value.getArrayItem(i);
    if (!item.isNumber()) {
      problem = "element " + std::to_string(i) + " is a " + item.getTypeName() + ", not a number";
      return std::nullopt;
    }
    v[static_cast<std::size_t>(i)] = item.getNumericValue();
    if (!std::isfinite(v[static_cast<std::size_t>(i)])) {
      problem = "element " + std::to_string(i) + " is not a finite number";
      return std::nullopt;
    }
  }
  const Box box{std::min(v[0], v[2]), std::min(v[1], v[3]), std::max(v[0], v[2]),
                std::max(v[1], v[3])};
  if (!(box.Width() > 0.0) || !(box.Height() > 0.0)) {
    problem = "has zero width or height";
    return std::nullopt;
  }
  if (!std::isfinite(box.Width()) || !std::isfinite(box.Height())) {
    problem = "is too large to measure";
    return std::nullopt;
  }
  return box;
}

Box ReadMediaBox(const std::vector<QPDFObjectHandle>& chain, std::size_t index,
                 WarningList& warnings) {
  QPDFObjectHandle value = Inherited(chain, "/MediaBox");
  if (value.isNull()) {
    warnings.Add(index, "/MediaBox",
                 "missing from the page and its ancestors; US Letter (612 x 792) used");
    return kDefaultMediaBox;
  }
  std::string problem;
  if (const auto box = ParseBox(value, problem)) return *box;
  warnings.Add(index, "/MediaBox", problem + "; US Letter (612 x 792) used");
  return kDefaultMediaBox;
}

// Only the visible part of a crop box counts, so it is clipped to the media box.
Box ReadCropBox(const std::vector<QPDFObjectHandle>& chain, const Box& media_box, std::size_t index,
                WarningList& warnings) {
  QPDFObjectHandle value = Inherited(chain, "/CropBox");
  if (value.isNull()) return media_box;
  std::string problem;
  const auto box = ParseBox(value, problem);
  if (!box) {
    warnings.Add(index, "/CropBox", problem + "; the MediaBox used");
    return media_box;
  }
  const Box clipped{std::max(box->llx, media_box.llx), std::max(box->lly, media_box.lly),
                    std::min(box->urx, media_box.urx), std::min(box->ury, media_box.ury)};
  if (!(clipped.Width() > 0.0) || !(clipped.Height() > 0.0)) {
    warnings.Add(index, "/CropBox", "does not overlap the MediaBox; the MediaBox used");
    return media_box;
  }
  return clipped;
}

int ReadRotate(const std::vector<QPDFObjectHandle>& chain, std::size_t index,
               WarningList& warnings) {
  QPDFObjectHandle value = Inherited(chain, "/Rotate");
  if (value.isNull()) return 0;
  if (value.isInteger()) {
    const long long degrees = value.getIntValue();
    if (degrees % 90 != 0) {
      warnings.Add(index, "/Rotate", std::to_string(degrees) + " is not a multiple of 90; 0 used");
      return 0;
    }
    return static_cast<int>((degrees % 360 + 360) % 360);
  }
  if (value.isReal()) {
    // The intent of 90.0 is plain, so it is honoured; only the type is reported.
    const double degrees = value.getNumericValue();
    if (std::isfinite(degrees) && std::fmod(degrees, 90.0) == 0.0) {
      const int normalised = static_cast<int>(std::fmod(std::fmod(degrees, 360.0) + 360.0, 360.0));
      warnings.Add(index, "/Rotate",
                   FormatNumber(degrees) + " is a real number, not an integer; " +
                       std::to_string(normalised) + " used");
      return normalised;
    }
    warnings.Add(index, "/Rotate", FormatNumber(degrees) + " is not a multiple of 90; 0 used");
    return 0;
  }
  warnings.Add(index, "/Rotate",
               std::string("is a ") + value.getTypeName() + ", not a number; 0 used");
  return 0;
}

double ReadUserUnit(QPDFObjectHandle page, std::size_t index, WarningList& warnings) {
  QPDFObjectHandle value = page.getKey("/UserUnit");
  if (value.isNull()) return 1.0;
  if (!value.isNumber()) {
    warnings.Add(index, "/UserUnit",
                 std::string("is a ") + value.getTypeName() + ", not a number; 1 used");
    return 1.0;
  }
  const double unit = value.getNumericValue();
  if (!std::isfinite(unit) || !(unit > 0.0)) {
    warnings.Add(index, "/UserUnit", FormatNumber(unit) + " is not a positive number; 1 used");
    return 1.0;
  }
  return unit;
}

}  // namespace

Page DefaultPage() {
  Page page;
  page.media_box = kDefaultMediaBox;
  page.crop_box = kDefaultMediaBox;
  return page;
}

Page ReadPageAttributes(QPDFObjectHandle page, std::size_t index, WarningList& warnings) {
  const std::vector<QPDFObjectHandle> chain = Lineage(page, index, warnings);
  Page result;
  result.media_box = ReadMediaBox(chain, index, warnings);
  result.crop_box = ReadCropBox(chain, result.media_box, index, warnings);
  result.rotate = ReadRotate(chain, index, warnings);
  result.user_unit = ReadUserUnit(page, index, warnings);
  return result;
}

}  // namespace QorPdf::internal
