// Assembling documents: identifiers in creation order, back links set on adoption.

#include <stdexcept>

#include "qordoc/document.h"

namespace QorDoc {

DocumentBuilder::DocumentBuilder() : document_(new Document()) {}

DocumentBuilder& DocumentBuilder::AddSeparation(Separation::Entry entry) {
  document_->separations_.push_back(std::move(entry));
  return *this;
}

std::shared_ptr<HalftoneSet> DocumentBuilder::AddHalftoneSet(std::string name) {
  halftones_.push_back(std::make_shared<HalftoneSet>(std::move(name)));
  return halftones_.back();
}

Content& DocumentBuilder::AddPage() {
  document_->pages_.push_back(std::unique_ptr<Content>(new Content()));
  Content& page = *document_->pages_.back();
  page.document_ = document_.get();
  return page;
}

void DocumentBuilder::Adopt(Content& content, const std::shared_ptr<ContentObject>& object) {
  if (content.document_ != document_.get()) {
    throw std::invalid_argument("DocumentBuilder: the content belongs to another document");
  }
  object->id_ = next_id_++;
  object->content_ = &content;
  content.members_.push_back(object);
}

std::shared_ptr<const Path> DocumentBuilder::AddPath(Content& content,
                                                     std::shared_ptr<const Morv::Compound> compound,
                                                     Fillable::Painting painting,
                                                     const Morv::MilliPointTransformation& t) {
  auto path = std::make_shared<Path>(std::move(compound), t, std::move(painting));
  Adopt(content, path);
  return path;
}

std::shared_ptr<const Document> DocumentBuilder::Build() {
  document_->halftones_ = Halftones(std::move(halftones_));
  halftones_.clear();
  std::shared_ptr<const Document> built(document_.release());
  document_.reset(new Document());
  next_id_ = 1;
  return built;
}

}  // namespace QorDoc
