// Soft masks: a content rendered to a mask that modulates an object or a group.
//
// The mask is the content's alpha (alpha mask) or its luminosity over a backdrop
// colour (luminosity mask), passed through a transfer function: `true` for the
// identity, or a function on [0, 1]. Rendering arrives with the soft-mask filler;
// collection already walks the content.
#pragma once

#include <boost/variant.hpp>
#include <functional>
#include <memory>

#include "morv/transformation.h"
#include "qorcolor/color_list.h"
#include "qordoc/fwd.h"

namespace QorBlend {

class SoftMask {
 public:
  using TransferFunction = boost::variant<bool, std::function<float(float)>>;

  SoftMask(const QorDoc::Content* content, const Morv::MilliPointTransformation& transformation,
           bool alpha, QorColor::Color backdrop = {}, TransferFunction transfer = true)
      : content_(content),
        transformation_(transformation),
        alpha_(alpha),
        backdrop_(std::move(backdrop)),
        transfer_(std::move(transfer)) {}

  // The mask's content, owned by the document.
  const QorDoc::Content* GetContent() const { return content_; }
  // Placement of the content, composed with the masked object's current one.
  const Morv::MilliPointTransformation& GetTransformation() const { return transformation_; }
  // True for an alpha mask, false for a luminosity mask.
  bool IsAlpha() const { return alpha_; }
  const QorColor::Color& GetBackdrop() const { return backdrop_; }
  const TransferFunction& GetTransferFunction() const { return transfer_; }

 private:
  const QorDoc::Content* content_;
  Morv::MilliPointTransformation transformation_;
  bool alpha_;
  QorColor::Color backdrop_;
  TransferFunction transfer_;
};

}  // namespace QorBlend
