// Default colour spaces of a resource dictionary: which entries stand for a device
// space, and the unusable ones (reported once, the device space kept).
#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "color/color_space.h"
#include "color_test_support.h"

namespace QorPdf::internal {
namespace {

using test::HasWarningContaining;

class DefaultSpaceTest : public ::testing::Test, public test::PdfObjects {
 protected:
  std::shared_ptr<const ColorSpace> Default(ColorSpaceFamily family, const std::string& resources) {
    return context.DefaultSpace(family, Parse(resources), 0);
  }

  WarningList warnings;
  ColorContext context{pdf, warnings};
};

TEST_F(DefaultSpaceTest, UsableEntriesReplaceTheirDeviceSpace) {
  const std::string resources =
      "<< /ColorSpace << /DefaultGray [/Separation /Gold /DeviceCMYK << /FunctionType 2 "
      "/Domain [0 1] /C0 [0 0 0 0] /C1 [0 0.2 1 0] /N 1 >>] /DefaultRGB /DeviceRGB >> >>";
  const auto gray = Default(ColorSpaceFamily::kDeviceGray, resources);
  ASSERT_NE(gray, nullptr);
  EXPECT_EQ(gray->Family(), ColorSpaceFamily::kSeparation);
  EXPECT_EQ(Default(ColorSpaceFamily::kDeviceRGB, resources), context.DeviceRGB())
      << "a default naming its own device";
  EXPECT_EQ(Default(ColorSpaceFamily::kDeviceCMYK, resources), nullptr) << "none: look further";
  EXPECT_EQ(Default(ColorSpaceFamily::kDeviceGray, "<< >>"), nullptr);
  EXPECT_EQ(context.DefaultSpace(ColorSpaceFamily::kDeviceGray, QPDFObjectHandle::newNull(), 0),
            nullptr);
  EXPECT_TRUE(warnings.All().empty());

  // Device names directly or through one resource; nothing else is a device space.
  const QPDFObjectHandle named = Parse("<< /ColorSpace << /CS0 /DeviceCMYK /CS1 /CS0 >> >>");
  EXPECT_EQ(ColorContext::DeviceFamilyNamed(Parse("/RGB"), named), ColorSpaceFamily::kDeviceRGB);
  EXPECT_EQ(ColorContext::DeviceFamilyNamed(Parse("/CS0"), named), ColorSpaceFamily::kDeviceCMYK);
  EXPECT_FALSE(ColorContext::DeviceFamilyNamed(Parse("/CS1"), named));
  EXPECT_FALSE(ColorContext::DeviceFamilyNamed(Parse("[/DeviceGray]"), named));
  EXPECT_FALSE(ColorContext::DeviceFamilyNamed(Parse("/Pattern"), named));
}

TEST_F(DefaultSpaceTest, UnusableEntriesKeepTheDeviceSpaceAndAreReportedOnce) {
  const std::string resources =
      "<< /ColorSpace << /DefaultGray /Pattern /DefaultRGB [/Indexed /DeviceRGB 1 <000000ffffff>] "
      "/DefaultCMYK /DeviceRGB >> >>";
  for (int round = 0; round < 2; ++round) {
    EXPECT_EQ(Default(ColorSpaceFamily::kDeviceGray, resources), context.DeviceGray());
    EXPECT_EQ(Default(ColorSpaceFamily::kDeviceRGB, resources), context.DeviceRGB());
    EXPECT_EQ(Default(ColorSpaceFamily::kDeviceCMYK, resources), context.DeviceCMYK());
  }
  EXPECT_EQ(warnings.All().size(), 3u);
  EXPECT_TRUE(HasWarningContaining(warnings, "cannot be a Pattern or Indexed space"));
  EXPECT_TRUE(HasWarningContaining(warnings, "has 3 component(s), not 4"));
}

}  // namespace
}  // namespace QorPdf::internal
