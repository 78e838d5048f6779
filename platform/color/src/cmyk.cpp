#include "qorcolor/cmyk.h"

namespace QorColor {

const ColorList<ColorSpacePolicy>& GetCMYKColorSpace() {
  static const ColorList<ColorSpacePolicy> list{
      {kCmykNames[0], 0.0f}, {kCmykNames[1], 0.0f}, {kCmykNames[2], 0.0f}, {kCmykNames[3], 0.0f}};
  return list;
}

}  // namespace QorColor
