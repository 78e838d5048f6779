// QorPdf::Document: a PDF file opened through qpdf, with each page's geometry, and
// its translation into the document model (QorDoc::Document) page by page.
//
// Invariants once a document is open: every page has a media box with ordered
// corners and positive width and height, a crop box inside that media box, a
// rotation of 0, 90, 180 or 270 and a positive finite user unit. Whatever the file
// holds, a value that cannot be used is replaced by its default and a Warning says
// so. Only opening throws for bad input (ImportError); afterwards bad input only adds
// warnings. A document is not safe to use from two threads at once: qpdf reads
// objects lazily and imports fill caches.
#pragma once

#include <cstddef>
#include <filesystem>
#include <memory>
#include <optional>
#include <span>
#include <stdexcept>
#include <string>
#include <vector>

#include "morv/coordinates.h"
#include "qorcolor/color_list.h"
#include "qordoc/document.h"

namespace QorPdf {

// A page box in default user-space units, y up. Corners are ordered (llx < urx,
// lly < ury) for every box a Document hands out.
struct Box {
  double llx = 0.0;
  double lly = 0.0;
  double urx = 0.0;
  double ury = 0.0;

  double Width() const { return urx - llx; }
  double Height() const { return ury - lly; }

  friend bool operator==(const Box&, const Box&) = default;
};

// One page's geometry with inheritance through the page tree already resolved.
// Boxes are in user-space units; one unit is user_unit points (1/72 inch), so the
// size in points is Width() * user_unit.
struct Page {
  Box media_box;
  Box crop_box;    // the CropBox clipped to media_box, or media_box itself
  int rotate = 0;  // clockwise degrees for display: 0, 90, 180 or 270
  double user_unit = 1.0;
};

// Something in the file that was ignored, replaced by a default or repaired.
struct Warning {
  std::optional<std::size_t> page;  // zero-based page index; empty for the whole file
  std::string subject;              // the key, object or operator concerned
  std::string reason;
};

// A font a page uses, as `qorsc info` shows it.
struct FontInfo {
  std::string name;     // BaseFont, or "(unnamed)"
  std::string subtype;  // Type1, MMType1, TrueType, Type0, Type3
  std::string program;  // the embedded program's kind (Type1, Type1C, TrueType, OpenType,
                        // CIDFontType0C, ...), or "none"
  bool embedded = false;
  std::string substitute;  // the font file drawn instead when not embedded
};

// Something a page holds that is not drawn, and how often the page has it.
struct NotRenderedFeature {
  std::string feature;
  std::size_t count = 0;
};

// An optional-content group of the document.
struct LayerInfo {
  std::string name;
  bool visible_by_default = true;
};

// One page in the document model.
//
// World coordinates (millipoints, y up) are the page as displayed: the crop box,
// turned by Rotate and scaled by UserUnit, with its lower-left corner at the origin.
// So world_box is (0, 0, width, height) of the displayed page, ready to be a
// rendering's world view.
struct ImportedPage {
  std::size_t index = 0;                     // zero-based page index
  const QorDoc::Content* content = nullptr;  // owned by the import's document
  Morv::MilliPointRectangle world_box;
  // Every colorant the page's paints use (process and spot), in order of first use;
  // the registration colorant "All" is not one.
  QorColor::Color colorants;
  std::vector<FontInfo> fonts;  // in order of first use
  // What the page holds that the import left out or could not use (a feature not
  // supported, a font or image that could not be read, an annotation without an
  // appearance), with how often each was met, in order of first meeting. Each is
  // also in the document's warnings.
  std::vector<NotRenderedFeature> not_rendered;
  // Why the page's content was not read to its end, or empty when it was. A page
  // passes a limit only when the file asks for more work or memory than any real
  // page needs (see ImportLimits in docs/design.md); what was read before is kept,
  // but the page must not be printed as if it were whole.
  std::string incomplete;
};

// What an import keeps of content that a renderer may not draw yet. Whatever is
// left out is reported in the warnings (once per page and feature).
struct ImportOptions {
  // Soft masks (ExtGState /SMask) in the objects' transparency; off: objects are
  // drawn without their soft mask.
  bool keep_soft_masks = true;
  // Transparency groups (forms with /Group /S /Transparency) with their flags and
  // group opacity; off: such forms are plain groups whose members carry the
  // opacity and blend mode themselves.
  bool keep_transparency_groups = true;
  // Annotations (/Annots) as printed: the normal appearance of each one with the
  // print flag and without the hidden flag, over the page. Off: the page content
  // alone, as a page's content is what prepress output usually means.
  bool draw_annotations = false;
  // The largest side of a device pixel, in points, that any render of the imported
  // pages will use (its labels and hit tests included; 72 / resolution for pixels of
  // exactly that resolution, more where a page's pixel count is rounded down), or 0
  // when not known. When set, JPEG images decode only the
  // samples such renders can read: those under the page box and clips where the
  // image is placed, widened by what the renderer's sampling may reach; the other
  // samples of the picture hold no particular values. Rendering the pages with
  // coarser pixels than this, or outside the page box, gives undefined colours in
  // such images.
  double max_pixel_size = 0.0;
};

// Pages translated together into one document model: they share its separation
// table and their objects' identifiers are unique across them.
struct Import {
  std::shared_ptr<const QorDoc::Document> document;
  std::vector<ImportedPage> pages;  // in the order asked for
};

// Opening failed: the file is missing, unreadable, not a PDF, needs a password or is
// damaged beyond qpdf's repair. what() names the file and gives qpdf's reason.
class ImportError : public std::runtime_error {
 public:
  ImportError(std::string file_name, std::string reason);

  const std::string& FileName() const { return file_name_; }
  const std::string& Reason() const { return reason_; }

 private:
  std::string file_name_;
  std::string reason_;
};

class Document {
 public:
  // Past this many, further warnings are only counted: a damaged file can produce
  // one per object and the list must stay bounded.
  static constexpr std::size_t kMaxWarnings = 1000;

  // Both read the whole cross-reference structure and every page's attributes.
  // Encrypted files are opened with the empty password; damaged files are repaired
  // by qpdf where it can. Throw ImportError.
  // The file stays open while the document lives: objects are read on demand.
  static Document OpenFile(const std::filesystem::path& path);
  // The bytes are copied, so the buffer may go away after the call. `name` stands
  // for the file in messages.
  static Document OpenBuffer(std::span<const std::byte> bytes, std::string name = "(memory)");

  // A moved-from document may only be assigned to or destroyed.
  Document(Document&&) noexcept;
  Document& operator=(Document&&) noexcept;
  ~Document();

  const std::string& Name() const;
  bool IsEncrypted() const;

  std::size_t PageCount() const;
  // Throws std::out_of_range for an index not below PageCount().
  const Page& GetPage(std::size_t index) const;

  // Translates the given pages (zero-based, in the given order; every page when
  // empty) into one document model. Content that cannot be used (a malformed
  // operator, a missing resource, a broken font, a feature not supported yet) is
  // skipped and reported in Warnings(), never thrown. Throws std::out_of_range for an
  // index not below PageCount(). Each call builds a new model; the document model
  // does not refer back to this object and may outlive it.
  Import ImportPages(std::span<const std::size_t> pages = {}, const ImportOptions& options = {});

  // The optional-content groups of /OCProperties, in the order of /OCGs.
  std::vector<LayerInfo> Layers();
  // The output intent's ICC profile (a CMYK DestOutputProfile) as stored, or empty.
  const std::vector<unsigned char>& OutputIntentProfile();

  // In the order found. Grows when pages are read for the first time.
  const std::vector<Warning>& Warnings() const;
  // Warnings beyond kMaxWarnings, not kept.
  std::size_t DroppedWarningCount() const;

 private:
  struct Impl;
  explicit Document(std::unique_ptr<Impl> impl);

  std::unique_ptr<Impl> impl_;
};

}  // namespace QorPdf
