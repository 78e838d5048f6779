// Rasterising a single shape outside the line-by-line converter.
//
// CreateBitmapFromCompound: one bit per pixel of `area` (W × H, row-major from the
// top-left corner of `area`, bit r·W + c is pixel (c, r)), set where the compound
// covers the pixel centre. `limit` is the pixel box the shape is generated in:
// nothing outside it is ever set. A null compound covers area ∩ limit.
//
// CreateSmoothenedMapFromCompound: W × H doubles in the same order: 1.0 inside the
// shape, then rings falling off outside it: ring j (the pixels first reached by the
// shape's outline stroked j target pixels wide on either side, j = 1 … steps) reads
// (steps − j + 0.5) / steps, and everything farther 0.0. Throws
// SingularTransformationError when the transformation cannot be inverted.
#pragma once

#include <boost/dynamic_bitset.hpp>
#include <cstddef>
#include <memory>
#include <vector>

#include "morv/compound.h"
#include "morv/transformation.h"
#include "qormath/rectangle.h"
#include "scan/environment.h"
#include "scan/export.h"

namespace QorSc {

QORSC_API boost::dynamic_bitset<unsigned long> CreateBitmapFromCompound(
    const std::shared_ptr<const Morv::Compound>& compound,
    const Morv::MilliPointTransformation& transformation, const Environment& env,
    const QorMath::Rectangle<long long>& area, const QorMath::Rectangle<long long>& limit);

QORSC_API std::vector<double> CreateSmoothenedMapFromCompound(
    const std::shared_ptr<const Morv::Compound>& compound,
    const Morv::MilliPointTransformation& transformation, const Environment& env,
    const QorMath::Rectangle<long long>& area, const QorMath::Rectangle<long long>& limit,
    std::size_t steps);

}  // namespace QorSc
