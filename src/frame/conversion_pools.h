// ConversionPools: what one conversion keeps from line to line so that a line
// allocates nothing in the steady state.
//
// Line buffers by plane count, source paint buffers by component count, scratch
// float lines for the per-pixel operands of blended pieces, identifier
// vectors for hit lists, the two scratch chains every path generator borrows while
// building, and the flat paint getters shared by equal colours. The page's line
// renderer and every nested renderer of one conversion share one pool.
#pragma once

#include <cstddef>
#include <map>
#include <memory>
#include <vector>

#include "composite/line_buffer.h"
#include "paint/flat_paint_getter.h"
#include "paint/paint_getter.h"
#include "raster/path_edges.h"

namespace QorSc {

class ConversionPools {
 public:
  ConversionPools(long long left, long long right) : left_(left), right_(right) {}

  // A reset line buffer with `planes` planes over the pixel span.
  std::unique_ptr<LineBuffer> AcquireLine(std::size_t planes) {
    auto& free = free_lines_[planes];
    if (free.empty()) return std::make_unique<LineBuffer>(planes, left_, right_);
    std::unique_ptr<LineBuffer> line = std::move(free.back());
    free.pop_back();
    line->Reset();
    return line;
  }
  void ReleaseLine(std::unique_ptr<LineBuffer> line) {
    if (line) free_lines_[line->Planes()].push_back(std::move(line));
  }

  // The source paint buffers for `components` colour components, made on first use.
  SourcePaintBuffers& SourceBuffers(std::size_t components) {
    auto& buffers = source_buffers_[components];
    if (!buffers) buffers = std::make_unique<SourcePaintBuffers>(components, left_, right_);
    return *buffers;
  }

  // A float line as wide as the pixel span, contents undefined; indexed from 0.
  std::unique_ptr<std::vector<float>> AcquireScratch() {
    if (free_scratch_.empty()) {
      return std::make_unique<std::vector<float>>(
          static_cast<std::size_t>(right_ > left_ ? right_ - left_ : 0));
    }
    std::unique_ptr<std::vector<float>> line = std::move(free_scratch_.back());
    free_scratch_.pop_back();
    return line;
  }
  void ReleaseScratch(std::unique_ptr<std::vector<float>> line) {
    if (line) free_scratch_.push_back(std::move(line));
  }

  std::vector<std::size_t> AcquireIdentifiers() {
    if (free_identifiers_.empty()) return {};
    std::vector<std::size_t> ids = std::move(free_identifiers_.back());
    free_identifiers_.pop_back();
    ids.clear();
    return ids;
  }
  void ReleaseIdentifiers(std::vector<std::size_t> ids) {
    free_identifiers_.push_back(std::move(ids));
  }

  ScratchChains& Chains() { return chains_; }
  FlatPaintGetterCache& FlatPaints() { return flat_paints_; }

 private:
  long long left_;
  long long right_;
  std::map<std::size_t, std::vector<std::unique_ptr<LineBuffer>>> free_lines_;
  std::map<std::size_t, std::unique_ptr<SourcePaintBuffers>> source_buffers_;
  std::vector<std::unique_ptr<std::vector<float>>> free_scratch_;
  std::vector<std::vector<std::size_t>> free_identifiers_;
  ScratchChains chains_;
  FlatPaintGetterCache flat_paints_;
};

// A scratch line borrowed from the pools for one scope.
class ScratchLine {
 public:
  explicit ScratchLine(ConversionPools& pools) : pools_(&pools), line_(pools.AcquireScratch()) {}
  ~ScratchLine() { pools_->ReleaseScratch(std::move(line_)); }
  ScratchLine(const ScratchLine&) = delete;
  ScratchLine& operator=(const ScratchLine&) = delete;

  float* Data() { return line_->data(); }

 private:
  ConversionPools* pools_;
  std::unique_ptr<std::vector<float>> line_;
};

// A line buffer borrowed from the pools for one scope.
class PooledLine {
 public:
  PooledLine(ConversionPools& pools, std::size_t planes)
      : pools_(&pools), line_(pools.AcquireLine(planes)) {}
  ~PooledLine() { pools_->ReleaseLine(std::move(line_)); }
  PooledLine(const PooledLine&) = delete;
  PooledLine& operator=(const PooledLine&) = delete;

  LineBuffer& operator*() { return *line_; }
  LineBuffer* operator->() { return line_.get(); }

 private:
  ConversionPools* pools_;
  std::unique_ptr<LineBuffer> line_;
};

}  // namespace QorSc
