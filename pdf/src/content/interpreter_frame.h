// What the interpreter keeps while it runs one content stream: its resources, the
// graphics state and the saved ones, the path being built, the text object and the
// marked-content scopes. Shared by the files that implement the interpreter's
// operator groups; nothing else includes it.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "content/content_reader.h"
#include "content/graphics_state.h"
#include "content/interpreter.h"
#include "morv/compound.h"

namespace QorPdf::internal {

struct ContentInterpreter::Frame {
  QPDFObjectHandle resources;
  // The stream that runs this one (a page, form, glyph or mask), or null.
  Frame* outer = nullptr;
  // DeviceGray, DeviceRGB, DeviceCMYK as this stream's resources (or the outer
  // stream's) redefine them with Default spaces; null until first needed.
  std::array<std::shared_ptr<const ColorSpace>, 3> device_spaces;
  GraphicsState gs;
  // The stream's default space (the CTM it started with): where its patterns live.
  Matrix default_ctm;
  std::vector<GraphicsState> saved;

  // The current path, in user space.
  Morv::PathBuilder path;
  std::size_t path_points = 0;
  bool path_empty = true;
  bool has_current_point = false;
  double current_x = 0.0;
  double current_y = 0.0;
  // Where the current subpath started: h (and the painting operators' close) return
  // the current point there.
  double subpath_x = 0.0;
  double subpath_y = 0.0;
  bool path_limit_reported = false;
  std::optional<std::uint32_t> pending_clip;  // W or W*: the winding rule
  // The paths of this stream's first run (ContentInterpreter::stream_paths_), which
  // this run records or else offers in turn to TakePath; null for a page's content.
  StreamPaths* paths = nullptr;
  bool paths_recording = false;
  std::size_t paths_at = 0;  // the next one to offer

  // The text object.
  bool in_text = false;
  Matrix text_matrix;                                          // Tm, text space to user space
  Matrix line_matrix;                                          // Tlm
  std::vector<std::shared_ptr<const QorDoc::Text>> text_clip;  // modes 4-7 so far

  // Marked-content scopes, innermost last.
  struct Marked {
    bool layer = false;
    QorDoc::Content* parent = nullptr;        // the target when the layer began
    std::size_t saved_depth = 0;              // saved states when the layer began
    std::shared_ptr<const ClipRecord> clips;  // clips in force when the layer began
  };
  std::vector<Marked> marked;
};

// The last `count` operands as numbers, when they are; PDF operators take their
// operands from the top of the stack, so extra ones before them are ignored.
bool TakeNumbers(const std::vector<Operand>& operands, std::size_t count, double* out);

// A PDF matrix [a b c d e f] as a transformation.
inline Matrix MatrixOf(const double* m) {
  return Matrix{m[0], m[1], m[2], m[3], m[4], m[5]};
}

// A matrix from a PDF array of six numbers, or nothing.
std::optional<Matrix> ReadMatrix(QPDFObjectHandle array);

}  // namespace QorPdf::internal
