// CMaps of Type0 fonts: splitting a string into character codes and mapping the
// codes to CIDs; and, read the same way, CMaps from codes or CIDs to Unicode
// (ToUnicode streams and the collections' UCS2 CMaps).
//
// Identity-H and Identity-V read two bytes per code with CID = code. Other
// predefined names are read from the installed CMap resources; embedded CMap streams
// give code space ranges (codes of one to four bytes) and cidrange/cidchar mappings,
// optionally on top of another CMap (usecmap or /UseCMap, by name or by stream).
// bfrange/bfchar entries map to the first Unicode code point of their destination.
// A name that is not installed is read as two-byte identity, which the caller
// reports. Codes without a mapping give CID 0.
//
// Bounds: usecmap chains are at most kMaxUseDepth deep and a loop is cut where it
// closes; CIDs stop at 65535 and Unicode at U+10FFFF (a range reaching further is
// cut there and reported); ranges are kept as ranges, so a huge one costs nothing.
//
// Invariants: the ranges are sorted by (byte length, first code) once parsing ends;
// decoding allocates only the output.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "qpdf_headers.h"

namespace QorPdf::internal {

class CMapResources;

class CMap {
 public:
  // Two-byte identity (Identity-H / Identity-V).
  static CMap Identity();
  // Nested usecmap references deeper than this are ignored.
  static constexpr int kMaxUseDepth = 8;

  // The CMap of a Type0 font's /Encoding (a name or a stream), with names read from
  // `resources`. `problem` is set when the CMap could not be read as given (an
  // identity fallback is used instead of a missing CMap).
  static CMap FromEncoding(QPDFObjectHandle encoding, CMapResources& resources,
                           std::string& problem);
  // The installed CMap `name`; nullopt when it is not installed.
  static std::optional<CMap> Predefined(std::string_view name, CMapResources& resources,
                                        std::string& problem);
  // Parses CMap program text, reading usecmap names from `resources` when given.
  static CMap Parse(std::string_view text, std::string& problem,
                    CMapResources* resources = nullptr);

  // One code read from a string.
  struct Code {
    std::uint32_t code = 0;
    std::uint32_t cid = 0;
    std::uint8_t length = 0;  // bytes read, 1 to 4
  };

  // Reads the code at the start of `bytes` (not empty). A code whose bytes run past
  // the end has length 0: the caller drops it.
  Code Next(std::string_view bytes) const;

  // True for the two-byte identity read in place of a CMap that could not be had:
  // its CIDs are a guess.
  bool Guessed() const { return guessed_; }

  // The value of a code of `length` bytes: its CID, or for bfchar/bfrange entries
  // its Unicode code point; 0 when nothing maps it.
  std::uint32_t Value(std::uint8_t length, std::uint32_t code) const;

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
    std::uint32_t cid = 0;  // the value of `first`: a CID, or a Unicode code point
  };

  // The CMaps being read, outermost first, for the usecmap loop and depth checks.
  struct UseChain {
    CMapResources* resources = nullptr;
    std::vector<std::string> names;   // named CMaps being read
    std::vector<QPDFObjGen> streams;  // indirect CMap streams being read
    int depth = 0;                    // CMaps being read, named or streams
  };

  static CMap Guess();
  void AddIdentity();
  // Adds the ranges and code spaces of a CMap program, counting malformed entries.
  void ParseInto(std::string_view text, UseChain& chain, std::size_t& skipped,
                 std::string& problem);
  // Reads an embedded CMap stream and what it uses; false when its data cannot be read.
  bool ReadStream(QPDFObjectHandle stream, UseChain& chain, std::size_t& skipped,
                  std::string& problem);
  // Adds the CMap `name` (usecmap or /UseCMap) under this one's own ranges.
  void Use(const std::string& name, UseChain& chain, std::size_t& skipped, std::string& problem);
  // Adds a used CMap's code spaces and ranges, its ranges under this one's.
  void Merge(CMap&& used);
  void AddRange(std::uint8_t length, std::uint32_t first, std::uint32_t last, std::uint32_t value,
                std::uint32_t max_value, std::size_t& skipped);
  // Falls back to two-byte code spaces when there are none, reports skipped entries
  // and sorts the ranges.
  void Complete(std::size_t skipped, std::string& problem);
  void Finish();

  std::vector<CodeSpace> code_spaces_;
  std::vector<Range> ranges_;
  std::vector<std::uint32_t> reach_;  // the greatest last code up to each range, per length
  bool identity_fallback_ = false;    // unmapped two-byte codes are their own CID
  bool guessed_ = false;
};

}  // namespace QorPdf::internal
