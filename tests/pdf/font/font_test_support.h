// Shared fixture for the font tests: an empty qpdf document to build font
// dictionaries in, a warning list and a font cache, and readers for the URW and
// DejaVu font files installed on the machine.
#pragma once

#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "font/font.h"
#include "qpdf_headers.h"
#include "warning_list.h"

namespace QorPdf::internal {

inline const char* kUrwType1 = "/usr/share/fonts/type1/urw-base35/";
inline const char* kUrwOpenType = "/usr/share/fonts/opentype/urw-base35/";
// Not part of the setup packages; tests that need a TrueType program skip without it.
inline const char* kDejaVuSans = "/usr/share/fonts/truetype/dejavu/DejaVuSans.ttf";

inline std::optional<std::string> ReadFile(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  if (!in) return std::nullopt;
  return std::string((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
}

class FontTest : public ::testing::Test {
 public:
  FontTest() { pdf_.emptyPDF(); }

  // An indirect object parsed from `text`.
  QPDFObjectHandle Object(const std::string& text) {
    return pdf_.makeIndirectObject(QPDFObjectHandle::parse(text));
  }
  QPDFObjectHandle Stream(const std::string& data, const std::string& dict = "<< >>") {
    QPDFObjectHandle stream = QPDFObjectHandle::newStream(&pdf_, data);
    for (const auto& [key, value] : QPDFObjectHandle::parse(dict).getDictAsMap()) {
      stream.getDict().replaceKey(key, value);
    }
    return stream;
  }
  // A stream holding the file at `path`; fails the test when it cannot be read.
  QPDFObjectHandle FileStream(const std::string& path, const std::string& dict = "<< >>") {
    const auto bytes = ReadFile(path);
    EXPECT_TRUE(bytes.has_value()) << path;
    return Stream(bytes.value_or(""), dict);
  }

 protected:
  std::shared_ptr<Font> Get(QPDFObjectHandle font) { return cache_.Get(font, 0); }

  static std::vector<ShownGlyph> Decode(Font& font, std::string_view bytes) {
    std::vector<ShownGlyph> out;
    font.Decode(bytes, out);
    return out;
  }

  std::string WarningText() const {
    std::string text;
    for (const Warning& w : warnings_.All())
      text += w.subject + ": " + w.reason + "\n";
    return text;
  }

  QPDF pdf_;
  WarningList warnings_;
  FontCache cache_{warnings_};
};

}  // namespace QorPdf::internal
