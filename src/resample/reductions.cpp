// Line reductions of the Resampler.
//
// Box filter (no shift), factor f: every initial line adds the f samples of each
// final pixel to its accumulator; the last line of a band (y mod f = f − 1, floored
// modulo) writes (sum + r) / f² with r = 2, 4, 8 for f = 2, 3, 4 and clears.
//
// Tent filter (shift), factor f: per line, h = s[x·f] + 2·(s[x·f+1] + … + s[x·f+f−1])
// + s[x·f+f] for each final pixel. An inner line (y not a multiple of f) adds 2h. An
// edge line writes (sum + h + 2f²) / (2f)² and then restarts the accumulator at h,
// since it also starts the next band; the very first edge line only primes.
//
// Each reduction is one instantiation per (factor, component count), with the count
// a compile-time constant for 1 and 3 components so the inner loops unroll; 0 stands
// for a count known only at run time. The loops hold no branch on the mode.

#include <cstring>

#include "resampler_state.h"

namespace QorSc {
namespace {

using State = Resampler::State;

long long FlooredMod(long long y, long long f) {
  const long long r = y % f;
  return r < 0 ? r + f : r;
}

template <std::size_t C>
std::size_t ComponentCount(const State& s) {
  if constexpr (C != 0) {
    return C;
  } else {
    return s.components;
  }
}

void CopyLine(State& s, const unsigned char* line) {
  if (s.width != 0 && s.components != 0) std::memcpy(s.output, line, s.width * s.components);
  s.output += s.stride;
  ++s.line;
}

template <unsigned F, std::size_t C>
void AddBoxLine(State& s, const unsigned char* line) {
  const std::size_t comps = ComponentCount<C>(s);
  std::uint32_t* sums = s.sums.data();
  for (std::size_t x = 0; x < s.width; ++x) {
    const unsigned char* in = line + x * F * comps;
    std::uint32_t* acc = sums + x * comps;
    for (std::size_t k = 0; k < comps; ++k) {
      std::uint32_t v = 0;
      for (unsigned j = 0; j < F; ++j)
        v += in[j * comps + k];
      acc[k] += v;
    }
  }
  if (FlooredMod(s.line, F) == F - 1) {
    constexpr std::uint32_t kRound = F == 2 ? 2 : F == 3 ? 4 : 8;
    const std::size_t n = s.width * comps;
    for (std::size_t i = 0; i < n; ++i) {
      s.output[i] = static_cast<unsigned char>((sums[i] + kRound) / (F * F));
      sums[i] = 0;
    }
    s.output += s.stride;
  }
  ++s.line;
}

// Calls op(i, h) for every accumulator i = x·comps + k with its horizontal tent sum h.
template <unsigned F, std::size_t C, class Op>
void ForEachTentSum(const State& s, const unsigned char* line, Op op) {
  const std::size_t comps = ComponentCount<C>(s);
  for (std::size_t x = 0; x < s.width; ++x) {
    const unsigned char* in = line + x * F * comps;
    for (std::size_t k = 0; k < comps; ++k) {
      std::uint32_t inner = 0;
      for (unsigned j = 1; j < F; ++j)
        inner += in[j * comps + k];
      op(x * comps + k, in[k] + 2 * inner + in[F * comps + k]);
    }
  }
}

template <unsigned F, std::size_t C>
void AddTentLine(State& s, const unsigned char* line) {
  std::uint32_t* sums = s.sums.data();
  if (FlooredMod(s.line, F) != 0) {
    ForEachTentSum<F, C>(s, line, [sums](std::size_t i, std::uint32_t h) { sums[i] += 2 * h; });
  } else if (!s.primed) {
    ForEachTentSum<F, C>(s, line, [sums](std::size_t i, std::uint32_t h) { sums[i] = h; });
    s.primed = true;
  } else {
    constexpr std::uint32_t kWeight = 4 * F * F;  // (2f)²
    unsigned char* out = s.output;
    ForEachTentSum<F, C>(s, line, [sums, out](std::size_t i, std::uint32_t h) {
      out[i] = static_cast<unsigned char>((sums[i] + h + kWeight / 2) / kWeight);
      sums[i] = h;
    });
    s.output += s.stride;
  }
  ++s.line;
}

template <std::size_t C>
State::AddLineFunction ForCount(std::uint64_t factor, bool shift) {
  if (shift) {
    switch (factor) {
      case 1:
        return &AddTentLine<1, C>;
      case 2:
        return &AddTentLine<2, C>;
      case 3:
        return &AddTentLine<3, C>;
      case 4:
        return &AddTentLine<4, C>;
    }
  } else {
    switch (factor) {
      case 1:
        return &CopyLine;
      case 2:
        return &AddBoxLine<2, C>;
      case 3:
        return &AddBoxLine<3, C>;
      case 4:
        return &AddBoxLine<4, C>;
    }
  }
  return nullptr;
}

}  // namespace

State::AddLineFunction SelectReduction(std::uint64_t factor, bool shift, std::size_t components) {
  switch (components) {
    case 1:
      return ForCount<1>(factor, shift);
    case 3:
      return ForCount<3>(factor, shift);
    default:
      return ForCount<0>(factor, shift);
  }
}

}  // namespace QorSc
