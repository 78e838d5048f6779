// A document: its pages (one content each), its separation table and its halftone
// sets. Built by DocumentBuilder, immutable afterwards, shared by
// std::shared_ptr<const Document>; its contents and objects live as long as it does.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "qordoc/content.h"
#include "qordoc/halftone.h"
#include "qordoc/separation.h"

namespace QorDoc {

class Document;

// The working space of `document`'s pictures (see Document::GetWorkingSpaceProfile).
const std::shared_ptr<const std::vector<unsigned char>>& GetWorkingSpaceProfile(
    const Document& document);

class Document {
 public:
  Document(const Document&) = delete;
  Document& operator=(const Document&) = delete;

  const std::vector<Separation::Entry>& GetSeparationInfo() const { return separations_; }
  const Halftones& GetHalftones() const { return halftones_; }
  // The ICC profile of the inks pictures are converted into (the output intent), or
  // null when the built-in separation serves.
  const std::shared_ptr<const std::vector<unsigned char>>& GetWorkingSpaceProfile() const {
    return working_space_profile_;
  }
  // The pages' contents, in page order.
  const std::vector<const Content*>& GetPages() const { return pages_; }

 private:
  friend class DocumentBuilder;
  Document() = default;

  std::vector<Separation::Entry> separations_;
  Halftones halftones_;
  std::shared_ptr<const std::vector<unsigned char>> working_space_profile_;
  std::vector<const Content*> pages_;
  std::vector<std::unique_ptr<Content>> contents_;  // every content: pages, groups, masks
};

// Assembles a document: separations, halftone sets, pages, nested contents and
// their objects. Object identifiers and back links are assigned here. Every content
// passed in must come from this builder; a nested content belongs to exactly one
// group or layer.
class DocumentBuilder {
 public:
  DocumentBuilder();

  DocumentBuilder& AddSeparation(Separation::Entry entry);
  std::shared_ptr<HalftoneSet> AddHalftoneSet(std::string name);
  DocumentBuilder& SetWorkingSpaceProfile(std::shared_ptr<const std::vector<unsigned char>> icc);
  // A new empty page; the returned content stays valid (and owned by the document).
  Content& AddPage();
  // A new empty content for a group, a layer or a soft mask.
  Content& AddContent();

  std::shared_ptr<const Path> AddPath(Content& content,
                                      std::shared_ptr<const Morv::Compound> compound,
                                      Fillable::Painting painting,
                                      const Morv::MilliPointTransformation& t = {},
                                      bool clipping = false);
  // The same, with the path's compound (and `fill`, when given, as its fill paint in
  // place of `painting.fill`) in the object's own block: one allocation for what the
  // object alone owns (see Path::MakeInOneBlock).
  std::shared_ptr<const Path> AddPathInOneBlock(Content& content, Morv::Compound&& compound,
                                                std::optional<QorPaint::FlatPaint>&& fill,
                                                Fillable::Painting painting,
                                                const Morv::MilliPointTransformation& t = {},
                                                bool clipping = false);
  std::shared_ptr<const Text> AddText(Content& content,
                                      std::vector<std::shared_ptr<const Morv::Compound>> glyphs,
                                      Fillable::Painting painting,
                                      const Morv::MilliPointTransformation& t = {},
                                      bool clipping = false);
  // A text group of texts made with MakeText (not added to any content themselves).
  std::shared_ptr<const TextGroup> AddTextGroup(Content& content,
                                                std::vector<std::shared_ptr<const Text>> texts,
                                                const Morv::MilliPointTransformation& t = {},
                                                bool clipping = false);
  std::shared_ptr<const Text> MakeText(std::vector<std::shared_ptr<const Morv::Compound>> glyphs,
                                       Fillable::Painting painting,
                                       const Morv::MilliPointTransformation& t = {});
  std::shared_ptr<const ImageMask> AddImageMask(Content& content,
                                                std::shared_ptr<const QorImg::PictureBuffer> mask,
                                                Fillable::Painting painting,
                                                const Morv::MilliPointTransformation& t);
  std::shared_ptr<const Image> AddImage(
      Content& content, std::shared_ptr<const QorImg::PaintedPicture> picture,
      const Morv::MilliPointTransformation& t,
      std::shared_ptr<const QorBlend::Transparency> transparency = nullptr,
      std::shared_ptr<HalftoneSet> halftone = nullptr);
  std::shared_ptr<const Group> AddGroup(
      Content& content, Content& members, const Morv::MilliPointTransformation& t = {},
      std::shared_ptr<const QorBlend::Transparency> transparency = nullptr);
  std::shared_ptr<const Layer> AddLayer(Content& content, Content& members,
                                        LayerExpression expression);

  // The finished document; the builder is empty afterwards.
  std::shared_ptr<const Document> Build();

 private:
  void Adopt(Content& content, const std::shared_ptr<ContentObject>& object);
  void Own(Content& members, const ContentObject& owner);
  std::uint32_t NextId();

  std::unique_ptr<Document> document_;
  std::vector<std::shared_ptr<HalftoneSet>> halftones_;
  std::uint32_t next_id_ = 1;
  // The transformation of the last object and the attributes of the last fillable
  // object that had any: consecutive objects placed or painted alike (a page's
  // paths under one matrix, a plot's strokes, a paragraph's glyphs) share them.
  ObjectSharing last_;
};

}  // namespace QorDoc
