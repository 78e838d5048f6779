// The composite preview: plates of ink turned into RGB as the inks look printed on
// white paper.
//
// Each plate becomes process ink: a process plate is its own ink, a spot plate goes
// through its CMYK representation in the separation table (a spot without an entry
// shows nothing, as in the library's own conversions). Contributions layer like the
// library's conversions, p = w·s, o = (o + p) − o·p in float, plates in plate order.
// The CMYK result becomes RGB through LittleCMS from the output-intent profile
// (relative colorimetric, black-point compensation, to sRGB) when the document has a
// usable CMYK profile, otherwise by the formula
//   R = 255·(1 − C)(1 − K), G = 255·(1 − M)(1 − K), B = 255·(1 − Y)(1 − K), rounded.
// Convert() is called by one thread at a time and allocates nothing.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "qordoc/separation.h"

namespace QorScTool {

class Preview {
 public:
  // `plates` name the planes Convert() receives, in order; `profile` is the ICC
  // profile's bytes (may be empty).
  Preview(const std::vector<std::string>& plates,
          const std::vector<QorDoc::Separation::Entry>& table,
          std::span<const unsigned char> profile, std::size_t width);
  ~Preview();
  Preview(const Preview&) = delete;
  Preview& operator=(const Preview&) = delete;

  // `planes`: one plane of `width` bytes per plate; `rgb`: width × 3 bytes.
  void Convert(const unsigned char* planes, unsigned char* rgb);

  // Whether the output-intent profile is in use, and why not when it is not.
  bool UsesProfile() const { return transform_ != nullptr; }
  const std::string& ProfileNote() const { return profile_note_; }

 private:
  std::size_t width_;
  std::vector<std::array<float, 4>> weights_;  // per plate: its C, M, Y, K per unit of ink
  void* transform_ = nullptr;                  // cmsHTRANSFORM
  std::string profile_note_;
  std::vector<float> cmyk_;            // width × 4
  std::vector<std::uint16_t> cmyk16_;  // width × 4, for LittleCMS
};

}  // namespace QorScTool
