// CMaps of Type0 fonts: splitting a string into character codes and mapping the
// codes to CIDs.
//
// Identity-H and Identity-V read two bytes per code with CID = code. Embedded CMap
// streams give code space ranges (codes of one to four bytes) and cidrange/cidchar
// mappings, optionally on top of another CMap (usecmap or /UseCMap; only the
// Identity ones are known by name). Other predefined names are read as two-byte
// identity, which the caller reports. Codes without a mapping give CID 0.
//
// Invariants: the ranges are sorted by (byte length, first code) once parsing ends;
// decoding allocates only the output.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "qpdf_headers.h"

namespace QorPdf::internal {

class CMap {
 public:
  // Two-byte identity (Identity-H / Identity-V).
  static CMap Identity();
  // The CMap of a Type0 font's /Encoding (a name or a stream). `problem` is set when
  // the CMap could not be read as given and an identity fallback is used instead.
  static CMap FromEncoding(QPDFObjectHandle encoding, std::string& problem);
  // Parses CMap program text; used by FromEncoding, public for tests.
  static CMap Parse(std::string_view text, std::string& problem);

  // One code read from a string.
  struct Code {
    std::uint32_t code = 0;
    std::uint32_t cid = 0;
    std::uint8_t length = 0;  // bytes read, 1 to 4
  };

  // Reads the code at the start of `bytes` (not empty). A code whose bytes run past
  // the end has length 0: the caller drops it.
  Code Next(std::string_view bytes) const;

 private:
  struct CodeSpace {
    std::uint8_t length = 0;
    std::uint8_t low[4] = {};
    std::uint8_t high[4] = {};
  };
  struct Range {
    std::uint8_t length = 0;
    std::uint32_t first = 0;
    std::uint32_t last = 0;
    std::uint32_t cid = 0;  // the CID of `first`
  };

  void AddIdentity();
  // Adds the ranges and code spaces of a CMap program, counting malformed entries.
  void ParseInto(std::string_view text, std::size_t& skipped, std::string& problem);
  // Falls back to two-byte code spaces when there are none, reports skipped entries
  // and sorts the ranges.
  void Complete(std::size_t skipped, std::string& problem);
  void Finish();
  std::uint32_t Lookup(std::uint8_t length, std::uint32_t code) const;

  std::vector<CodeSpace> code_spaces_;
  std::vector<Range> ranges_;
  std::vector<std::uint32_t> reach_;  // the greatest last code up to each range, per length
  bool identity_fallback_ = false;    // unmapped two-byte codes are their own CID
};

}  // namespace QorPdf::internal
