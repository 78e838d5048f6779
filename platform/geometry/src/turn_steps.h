// Unit vectors at equal steps around a full or a half turn, for the stroker's round
// dots and caps.
//
// A page of scatter-plot marks strokes thousands of dots (and a plot of short rules
// thousands of round caps) whose step counts are few and small: computing the cosine
// and sine of the same angles for each of them cost more than the rest of the dot. The
// table holds, for every count up to kTabledTurnSteps, exactly what TurnStep computes
// (the same expression, the same library calls), so a tabled dot or cap is the same to
// the bit as one computed on the spot.
//
// Invariant: TabledTurn(turn, count)[i] == TurnStep(sweep, i, count) bit for bit,
// sweep = 2π for kFull and π for kHalf. The table is built once and never changes.
#pragma once

namespace Morv::internal {

struct TurnStep {
  double cosine;
  double sine;
};

enum class Turn : int { kHalf = 0, kFull = 1 };

// (cos a, sin a) for a = sweep·i/count.
TurnStep StepOf(double sweep, int i, int count);

inline constexpr int kTabledTurnSteps = 64;

// The `count` steps StepOf(sweep, i, count), i = 0 … count − 1, of a half or full turn;
// nullptr when count is outside 1 … kTabledTurnSteps.
const TurnStep* TabledTurn(Turn turn, int count);

// The sweep a table entry stands for: π or 2π.
double SweepOf(Turn turn);

}  // namespace Morv::internal
