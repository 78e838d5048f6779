// LineContext: what a generator needs from the conversion that drives it.
//
// A copy of the conversion's environment and the scratch chains that path generators
// borrow while they build their edges. The scan converter's line renderer is one;
// standalone rasterisers make their own.
#pragma once

#include "raster/path_edges.h"
#include "scan/environment.h"

namespace QorSc {

class LineContext {
 public:
  LineContext(const Environment& environment, ScratchChains& chains)
      : environment_(environment), chains_(&chains) {}

  const Environment& GetEnvironment() const { return environment_; }
  ScratchChains& GetScratchChains() const { return *chains_; }

 private:
  Environment environment_;
  ScratchChains* chains_;
};

}  // namespace QorSc
