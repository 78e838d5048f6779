// The qpdf headers the importer uses, always included through this file.
//
// qpdf 11.3's JSON.hh does not compile as C++20 with clang 14 and libstdc++ 12 (a
// vector of the class being defined is destroyed in a constexpr context), which
// would rule out the clang-only libFuzzer build. The importer never uses qpdf's
// JSON, and the other headers only name it in declarations, so the header is
// skipped and the class declared. The same on every compiler, so that a GCC build
// breaks as soon as anything starts to need JSON.
#pragma once

#ifdef JSON_HH
#error "qpdf's JSON.hh was included before qpdf_headers.h"
#endif
#define JSON_HH
class JSON;

#include <qpdf/Pipeline.hh>
#include <qpdf/QPDF.hh>
#include <qpdf/QPDFExc.hh>
#include <qpdf/QPDFObjGen.hh>
#include <qpdf/QPDFObjectHandle.hh>
#include <qpdf/QPDFPageObjectHelper.hh>
#include <qpdf/QPDFTokenizer.hh>
