// Simple-font encodings: the named base encodings as glyph-name tables and the
// glyph-name to Unicode lookup that TrueType programs need.
//
// The tables cover StandardEncoding, WinAnsiEncoding and MacRomanEncoding; Symbol and
// ZapfDingbats use the built-in encodings of their programs, which FreeType exposes.
// Glyph names map to Unicode for every name these tables use plus the uniXXXX and
// uXXXX[XX] forms; that is what TrueType (3,1) cmap lookups need for Latin text, so
// no complete glyph list is carried. Everything here is constant data with lookups
// that allocate nothing.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string_view>

namespace QorPdf::internal {

// 256 glyph names by code; null for codes without a glyph.
using EncodingTable = std::array<const char*, 256>;

const EncodingTable& StandardEncoding();
const EncodingTable& WinAnsiEncoding();
const EncodingTable& MacRomanEncoding();

// The table of a base encoding name (StandardEncoding, WinAnsiEncoding,
// MacRomanEncoding), or null for any other name.
const EncodingTable* EncodingByName(std::string_view name);

// The Unicode value of a glyph name, when known.
std::optional<std::uint32_t> GlyphNameToUnicode(std::string_view name);

// The code of `name` in MacRomanEncoding, for TrueType (1,0) cmaps.
std::optional<std::uint8_t> MacRomanCode(std::string_view name);

}  // namespace QorPdf::internal
