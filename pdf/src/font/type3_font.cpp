// Type3 fonts: glyphs are content procedures that the interpreter runs, so this
// class only maps codes to procedures and widths.
//
// A code's procedure is /CharProcs under the code's name from /Encoding
// /Differences. The width w0 is the /Widths entry times the FontMatrix's a, the
// horizontal displacement of the width vector (w, 0) for a font size of 1. A
// missing or degenerate FontMatrix falls back to 0.001 0 0 0.001 0 0.
#include <array>
#include <cmath>
#include <string>
#include <utility>

#include "font/font_loader.h"

namespace QorPdf::internal {

namespace {

class Type3Font final : public Font {
 public:
  Type3Font(FontDescription description, std::array<double, 6> matrix,
            std::array<QPDFObjectHandle, 256> procedures, std::array<double, 256> widths,
            QPDFObjectHandle resources)
      : Font(std::move(description), true),
        matrix_(matrix),
        procedures_(std::move(procedures)),
        widths_(widths),
        resources_(std::move(resources)) {}

  void Decode(std::string_view bytes, std::vector<ShownGlyph>& out) override {
    for (const char byte : bytes) {
      const auto code = static_cast<std::uint8_t>(byte);
      ShownGlyph glyph;
      glyph.code = code;
      glyph.width = widths_[code];
      glyph.word_space = code == 32;
      out.push_back(std::move(glyph));
    }
  }

  std::array<double, 6> Type3Matrix() const override { return matrix_; }
  QPDFObjectHandle Type3Procedure(std::uint32_t code) const override {
    return code < procedures_.size() ? procedures_[code] : QPDFObjectHandle();
  }
  QPDFObjectHandle Type3Resources() const override { return resources_; }

 private:
  std::array<double, 6> matrix_;
  std::array<QPDFObjectHandle, 256> procedures_;  // null handles for codes without one
  std::array<double, 256> widths_;
  QPDFObjectHandle resources_;
};

}  // namespace

std::shared_ptr<Font> MakeType3Font(QPDFObjectHandle font, std::string& problem) {
  FontDescription description;
  const std::string name = NameOf(font.getKey("/Name"));
  const std::string base_font = NameOf(font.getKey("/BaseFont"));
  description.name = !base_font.empty() ? base_font : !name.empty() ? name : "(unnamed)";
  description.subtype = "Type3";
  description.program = "none";
  description.embedded = true;  // the glyph procedures are in the document

  std::array<double, 6> matrix{0.001, 0, 0, 0.001, 0, 0};
  QPDFObjectHandle font_matrix = font.getKey("/FontMatrix");
  bool matrix_ok = font_matrix.isArray() && font_matrix.getArrayNItems() == 6;
  std::array<double, 6> read{};
  for (int i = 0; matrix_ok && i < 6; ++i) {
    const auto value = NumberOf(font_matrix.getArrayItem(i));
    matrix_ok = value.has_value();
    if (value) read[static_cast<std::size_t>(i)] = *value;
  }
  if (matrix_ok && read[0] * read[3] - read[1] * read[2] != 0) {
    matrix = read;
  } else if (problem.empty()) {
    problem = "Type3 font without a usable /FontMatrix; using 0.001 0 0 0.001 0 0";
  }

  std::array<QPDFObjectHandle, 256> procedures;
  QPDFObjectHandle char_procs = font.getKey("/CharProcs");
  QPDFObjectHandle encoding = font.getKey("/Encoding");
  QPDFObjectHandle differences =
      encoding.isDictionary() ? encoding.getKey("/Differences") : QPDFObjectHandle();
  if (char_procs.isDictionary() && differences.isArray()) {
    long long code = -1;
    for (QPDFObjectHandle item : differences.aitems()) {
      if (const auto number = IntegerOf(item)) {
        code = *number;
      } else if (item.isName()) {
        if (code >= 0 && code < 256) {
          QPDFObjectHandle procedure = char_procs.getKey(item.getName());
          procedures[static_cast<std::size_t>(code)] =
              procedure.isStream() ? procedure : QPDFObjectHandle();
        }
        if (code >= 0) ++code;
      }
    }
  } else if (problem.empty()) {
    problem = "Type3 font without /CharProcs or /Encoding /Differences";
  }

  std::array<double, 256> widths{};
  QPDFObjectHandle widths_array = font.getKey("/Widths");
  if (widths_array.isArray()) {
    const long long first = IntegerOf(font.getKey("/FirstChar")).value_or(0);
    const int count = widths_array.getArrayNItems();
    for (long long code = 0; code < 256; ++code) {
      const long long index = code - first;
      if (index < 0 || index >= count) continue;
      const auto width = NumberOf(widths_array.getArrayItem(static_cast<int>(index)));
      widths[static_cast<std::size_t>(code)] = width.value_or(0.0) * matrix[0];
    }
  }

  QPDFObjectHandle resources = font.getKey("/Resources");
  if (!resources.isDictionary()) resources = QPDFObjectHandle();
  return std::make_shared<Type3Font>(std::move(description), matrix, std::move(procedures), widths,
                                     std::move(resources));
}

}  // namespace QorPdf::internal
