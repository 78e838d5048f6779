// QorSc::ScanConverter: turns an ObjectCollection into raster lines, one call per
// line, top to bottom over the collection's pixel box.
//
// Every call renders the next line of every blending separation and hands it out
// in one of five shapes, which may be mixed from line to line:
// - GetLine: S floats per pixel, pixel-interleaved, valid until the next call;
// - GetLineAsPlaneInterleaved: one pointer per colour plane, at x = left;
// - GetLine255PlaneInterleaved: bytes 0..255, plane after plane `stride` apart,
//   optionally with the alpha plane (extra1) and the shape plane (extra2);
// - GetLine255PixelInterleaved: the same bytes pixel after pixel, the S bytes of each
//   pixel together (as PAM and contiguous TIFF store them), without a pass per plane;
// - GetObjectsOnNextLine: only the document identifiers of the objects painted on
//   the line, in painting order.
// After the last line every call reports the end of the page (null, empty, false)
// and leaves its outputs untouched. Colour values are ink amounts: 0 no ink, 1 full.
//
// Only the end of the page is reported that way. A line without components (a
// pixel box of no width, or no separations) is still a line: GetLine returns a
// valid pointer (to nothing) and the byte shape returns true, on every line of the
// box. Two shapes cannot tell such a line from the end by their nature: with no
// separations GetLineAsPlaneInterleaved has no plane to point at, and
// GetObjectsOnNextLine is empty wherever nothing is painted; count lines with
// GetLine or the byte shape (the shapes may be mixed).
#pragma once

#include <cstddef>
#include <memory>
#include <vector>

#include "qorcolor/color_list.h"
#include "scan/export.h"
#include "scan/object_collection.h"

namespace QorSc {

class QORSC_API ScanConverter {
 public:
  explicit ScanConverter(ObjectCollection collection);
  ScanConverter(ScanConverter&&) noexcept;
  ScanConverter& operator=(ScanConverter&&) noexcept;
  ~ScanConverter();

  const QorColor::Component* GetLine();
  std::vector<const QorColor::Component*> GetLineAsPlaneInterleaved();
  bool GetLine255PlaneInterleaved(unsigned char* planes, unsigned char* extra1,
                                  unsigned char* extra2, std::size_t stride);
  bool GetLine255PlaneInterleaved(unsigned char* planes);
  bool GetLine255PlaneInterleaved(unsigned char* planes, std::size_t stride);
  // Writes (right − left) × S bytes: sample s of pixel x at pixels + (x − left)·S + s.
  bool GetLine255PixelInterleaved(unsigned char* pixels);
  std::vector<std::size_t> GetObjectsOnNextLine();

  struct Impl;

 private:
  std::unique_ptr<Impl> impl_;
};

// A component as a byte: (int)(v·255 + 0.5) in single precision, low byte kept; a
// trace of ink (v ≥ 1e-6, compared in double) never becomes 0.
QORSC_API unsigned char ComponentToByte(QorColor::Component v);

}  // namespace QorSc
