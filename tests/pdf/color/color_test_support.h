// Helpers for the colour tests: PDF objects in a small in-memory document, ICC
// profiles written by LittleCMS, and colour expectations.
#pragma once

#include <gtest/gtest.h>
#include <lcms2.h>

#include <array>
#include <cmath>
#include <ostream>
#include <string>
#include <vector>

#include "qorcolor/color_list.h"
#include "qpdf_headers.h"
#include "warning_list.h"

namespace QorColor {

// Readable colours in test failures.
inline void PrintTo(const Color& color, std::ostream* os) {
  *os << "{";
  for (const auto& entry : color)
    *os << " " << entry.name << " " << entry.tint;
  if (color.PaintsAllColorants()) *os << " (all)";
  if (color.PaintsNamedColorantsOnly()) *os << " (named only)";
  *os << " }";
}

}  // namespace QorColor

namespace QorPdf::internal::test {

class PdfObjects {
 public:
  PdfObjects() { pdf.emptyPDF(); }

  // Parses `text`; "n g R" references objects of this document.
  QPDFObjectHandle Parse(const std::string& text) { return QPDFObjectHandle::parse(&pdf, text); }

  // An indirect stream with the entries of `dict` and `data` as its (unfiltered) data.
  QPDFObjectHandle Stream(const std::string& dict, const std::string& data) {
    QPDFObjectHandle stream = pdf.newStream(data);
    QPDFObjectHandle entries = Parse(dict);
    for (const std::string& key : entries.getKeys()) {
      stream.getDict().replaceKey(key, entries.getKey(key));
    }
    return pdf.makeIndirectObject(stream);
  }
  QPDFObjectHandle Stream(const std::string& dict, const std::vector<unsigned char>& data) {
    return Stream(dict, std::string(data.begin(), data.end()));
  }

  // "n g R" for an indirect object.
  static std::string Ref(QPDFObjectHandle object) { return object.getObjGen().unparse(' ') + " R"; }

  QPDF pdf;
};

inline std::vector<unsigned char> SaveProfile(cmsHPROFILE profile) {
  cmsUInt32Number size = 0;
  cmsSaveProfileToMem(profile, nullptr, &size);
  std::vector<unsigned char> bytes(size);
  cmsSaveProfileToMem(profile, bytes.data(), &size);
  cmsCloseProfile(profile);
  return bytes;
}

// A CMYK output profile of a press that prints with black ink only: every colour
// becomes K = 1 − L*/100 and C = M = Y = 0; back to Lab, ink darkens neutrally.
inline std::vector<unsigned char> BlackOnlyPressProfile() {
  auto lab_to_cmyk = [](const cmsUInt16Number in[], cmsUInt16Number out[], void*) -> int {
    cmsCIELab lab;
    cmsLabEncoded2Float(&lab, in);
    double k = 1.0 - lab.L / 100.0;
    k = k < 0.0 ? 0.0 : k > 1.0 ? 1.0 : k;
    out[0] = out[1] = out[2] = 0;
    out[3] = static_cast<cmsUInt16Number>(k * 65535.0 + 0.5);
    return TRUE;
  };
  auto cmyk_to_lab = [](const cmsUInt16Number in[], cmsUInt16Number out[], void*) -> int {
    double light = 100.0;
    for (int i = 0; i < 4; ++i)
      light *= 1.0 - in[i] / 65535.0;
    const cmsCIELab lab{light, 0.0, 0.0};
    cmsFloat2LabEncoded(out, &lab);
    return TRUE;
  };
  cmsHPROFILE profile = cmsCreateProfilePlaceholder(nullptr);
  cmsSetProfileVersion(profile, 2.1);  // LittleCMS writes a lone CLUT as a version 2 table
  cmsSetDeviceClass(profile, cmsSigOutputClass);
  cmsSetColorSpace(profile, cmsSigCmykData);
  cmsSetPCS(profile, cmsSigLabData);
  cmsWriteTag(profile, cmsSigMediaWhitePointTag, cmsD50_XYZ());

  cmsPipeline* a2b = cmsPipelineAlloc(nullptr, 4, 3);
  cmsStage* a2b_clut = cmsStageAllocCLut16bit(nullptr, 5, 4, 3, nullptr);
  cmsStageSampleCLut16bit(a2b_clut, cmyk_to_lab, nullptr, 0);
  cmsPipelineInsertStage(a2b, cmsAT_BEGIN, a2b_clut);
  cmsWriteTag(profile, cmsSigAToB0Tag, a2b);
  cmsPipelineFree(a2b);

  cmsPipeline* b2a = cmsPipelineAlloc(nullptr, 3, 4);
  cmsStage* b2a_clut = cmsStageAllocCLut16bit(nullptr, 17, 3, 4, nullptr);
  cmsStageSampleCLut16bit(b2a_clut, lab_to_cmyk, nullptr, 0);
  cmsPipelineInsertStage(b2a, cmsAT_BEGIN, b2a_clut);
  cmsWriteTag(profile, cmsSigBToA0Tag, b2a);
  cmsPipelineFree(b2a);
  return SaveProfile(profile);
}

inline QorColor::Color Process(float c, float m, float y, float k) {
  return QorColor::Color{{"Cyan", c}, {"Magenta", m}, {"Yellow", y}, {"Black", k}};
}

// A process colour within `tolerance` of the expected tints.
inline ::testing::AssertionResult ProcessNear(const QorColor::Color& color,
                                              const std::array<double, 4>& cmyk, double tolerance) {
  const char* names[4] = {"Cyan", "Magenta", "Yellow", "Black"};
  bool near = color.Size() == 4;
  for (std::size_t i = 0; near && i < 4; ++i) {
    near = color.GetName(i) == names[i] && std::fabs(color.GetTint(i) - cmyk[i]) <= tolerance;
  }
  if (near) return ::testing::AssertionSuccess();
  return ::testing::AssertionFailure()
         << ::testing::PrintToString(color) << " is not within " << tolerance << " of C " << cmyk[0]
         << " M " << cmyk[1] << " Y " << cmyk[2] << " K " << cmyk[3];
}

inline bool HasWarningContaining(const WarningList& warnings, const std::string& text) {
  for (const auto& w : warnings.All()) {
    if (w.reason.find(text) != std::string::npos) return true;
  }
  return false;
}

}  // namespace QorPdf::internal::test
