// The table of turn steps: built on first use, constant afterwards.

#include "turn_steps.h"

#include <cmath>
#include <numbers>
#include <vector>

namespace Morv::internal {
namespace {

struct TurnTables {
  // Steps of all counts one after another: count c starts at offsets[c].
  std::vector<TurnStep> steps[2];
  int offsets[kTabledTurnSteps + 2] = {};
};

TurnTables MakeTurnTables() {
  TurnTables tables;
  for (const Turn turn : {Turn::kHalf, Turn::kFull}) {
    std::vector<TurnStep>& steps = tables.steps[static_cast<int>(turn)];
    for (int count = 1; count <= kTabledTurnSteps; ++count) {
      tables.offsets[count] = static_cast<int>(steps.size());
      for (int i = 0; i < count; ++i)
        steps.push_back(StepOf(SweepOf(turn), i, count));
    }
  }
  return tables;
}

}  // namespace

// Kept out of line and used by both the table and the stroker's untabled arcs, so the
// two cannot drift apart.
TurnStep StepOf(double sweep, int i, int count) {
  const double angle = sweep * static_cast<double>(i) / static_cast<double>(count);
  return {std::cos(angle), std::sin(angle)};
}

double SweepOf(Turn turn) {
  return turn == Turn::kFull ? 2.0 * std::numbers::pi : std::numbers::pi;
}

const TurnStep* TabledTurn(Turn turn, int count) {
  if (count < 1 || count > kTabledTurnSteps) return nullptr;
  static const TurnTables tables = MakeTurnTables();
  return tables.steps[static_cast<int>(turn)].data() + tables.offsets[count];
}

}  // namespace Morv::internal
