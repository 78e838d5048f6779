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

class Document {
 public:
  Document(const Document&) = delete;
  Document& operator=(const Document&) = delete;

  const std::vector<Separation::Entry>& GetSeparationInfo() const { return separations_; }
  const Halftones& GetHalftones() const { return halftones_; }
  const std::vector<std::unique_ptr<Content>>& GetPages() const { return pages_; }

 private:
  friend class DocumentBuilder;
  Document() = default;

  std::vector<Separation::Entry> separations_;
  Halftones halftones_;
  std::vector<std::unique_ptr<Content>> pages_;
};

// Assembles a document: separations, halftone sets, pages and their objects. Object
// identifiers and back links are assigned here.
class DocumentBuilder {
 public:
  DocumentBuilder();

  DocumentBuilder& AddSeparation(Separation::Entry entry);
  std::shared_ptr<HalftoneSet> AddHalftoneSet(std::string name);
  // A new empty page; the returned content stays valid (and owned by the document).
  Content& AddPage();
  // Appends a path to `content` (a page of this builder) and returns it.
  std::shared_ptr<const Path> AddPath(Content& content,
                                      std::shared_ptr<const Morv::Compound> compound,
                                      Fillable::Painting painting,
                                      const Morv::MilliPointTransformation& t = {});

  // The finished document; the builder is empty afterwards.
  std::shared_ptr<const Document> Build();

 private:
  void Adopt(Content& content, const std::shared_ptr<ContentObject>& object);

  std::unique_ptr<Document> document_;
  std::vector<std::shared_ptr<HalftoneSet>> halftones_;
  std::size_t next_id_ = 1;
};

}  // namespace QorDoc
