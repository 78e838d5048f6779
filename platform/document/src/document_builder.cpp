// Assembling documents: identifiers in creation order, back links set on adoption.

#include <limits>
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

Content& DocumentBuilder::AddContent() {
  document_->contents_.push_back(std::unique_ptr<Content>(new Content()));
  Content& content = *document_->contents_.back();
  content.document_ = document_.get();
  return content;
}

Content& DocumentBuilder::AddPage() {
  Content& page = AddContent();
  document_->pages_.push_back(&page);
  return page;
}

void DocumentBuilder::Adopt(Content& content, const std::shared_ptr<ContentObject>& object) {
  if (content.document_ != document_.get()) {
    throw std::invalid_argument("DocumentBuilder: the content belongs to another document");
  }
  object->id_ = NextId();
  object->content_ = &content;
  content.members_.push_back(object);
}

std::uint32_t DocumentBuilder::NextId() {
  if (next_id_ == std::numeric_limits<std::uint32_t>::max()) {
    throw std::length_error("DocumentBuilder: more than 2^32 - 2 objects in one document");
  }
  return next_id_++;
}

void DocumentBuilder::Own(Content& members, const ContentObject& owner) {
  if (members.document_ != document_.get()) {
    throw std::invalid_argument("DocumentBuilder: the members belong to another document");
  }
  if (members.owner_ != nullptr) {
    throw std::invalid_argument("DocumentBuilder: a content belongs to one group or layer only");
  }
  members.owner_ = &owner;
}

std::shared_ptr<const Path> DocumentBuilder::AddPath(Content& content,
                                                     std::shared_ptr<const Morv::Compound> compound,
                                                     Fillable::Painting painting,
                                                     const Morv::MilliPointTransformation& t,
                                                     bool clipping) {
  auto path = Path::Make(std::move(compound), t, std::move(painting), clipping, &last_);
  Adopt(content, path);
  return path;
}

std::shared_ptr<const Path> DocumentBuilder::AddPathInOneBlock(
    Content& content, Morv::Compound&& compound, std::optional<QorPaint::FlatPaint>&& fill,
    Fillable::Painting painting, const Morv::MilliPointTransformation& t, bool clipping) {
  auto path = Path::MakeInOneBlock(std::move(compound), std::move(fill), t, std::move(painting),
                                   clipping, &last_);
  Adopt(content, path);
  return path;
}

std::shared_ptr<const Text> DocumentBuilder::MakeText(
    std::vector<std::shared_ptr<const Morv::Compound>> glyphs, Fillable::Painting painting,
    const Morv::MilliPointTransformation& t) {
  auto text = std::make_shared<Text>(std::move(glyphs), t, std::move(painting), false, &last_);
  text->id_ = NextId();
  return text;
}

std::shared_ptr<const Text> DocumentBuilder::AddText(
    Content& content, std::vector<std::shared_ptr<const Morv::Compound>> glyphs,
    Fillable::Painting painting, const Morv::MilliPointTransformation& t, bool clipping) {
  auto text = std::make_shared<Text>(std::move(glyphs), t, std::move(painting), clipping, &last_);
  Adopt(content, text);
  return text;
}

std::shared_ptr<const TextGroup> DocumentBuilder::AddTextGroup(
    Content& content, std::vector<std::shared_ptr<const Text>> texts,
    const Morv::MilliPointTransformation& t, bool clipping) {
  auto group = std::make_shared<TextGroup>(std::move(texts), t, clipping, &last_);
  Adopt(content, group);
  // The texts of a group answer for their content and parent through it.
  for (const auto& text : group->GetTexts()) {
    const_cast<Text&>(*text).content_ = &content;
  }
  return group;
}

std::shared_ptr<const ImageMask> DocumentBuilder::AddImageMask(
    Content& content, std::shared_ptr<const QorImg::PictureBuffer> mask,
    Fillable::Painting painting, const Morv::MilliPointTransformation& t) {
  auto image = std::make_shared<ImageMask>(std::move(mask), t, std::move(painting), &last_);
  Adopt(content, image);
  return image;
}

DocumentBuilder& DocumentBuilder::SetWorkingSpaceProfile(
    std::shared_ptr<const std::vector<unsigned char>> icc) {
  document_->working_space_profile_ = std::move(icc);
  return *this;
}

const std::shared_ptr<const std::vector<unsigned char>>& GetWorkingSpaceProfile(
    const Document& document) {
  return document.GetWorkingSpaceProfile();
}

std::shared_ptr<const Image> DocumentBuilder::AddImage(
    Content& content, std::shared_ptr<const QorImg::PaintedPicture> picture,
    const Morv::MilliPointTransformation& t,
    std::shared_ptr<const QorBlend::Transparency> transparency,
    std::shared_ptr<HalftoneSet> halftone) {
  auto image = std::make_shared<Image>(std::move(picture), t, std::move(transparency),
                                       std::move(halftone), &last_);
  Adopt(content, image);
  return image;
}

std::shared_ptr<const Group> DocumentBuilder::AddGroup(
    Content& content, Content& members, const Morv::MilliPointTransformation& t,
    std::shared_ptr<const QorBlend::Transparency> transparency) {
  auto group = std::make_shared<Group>(&members, t, std::move(transparency), &last_);
  Own(members, *group);
  Adopt(content, group);
  return group;
}

std::shared_ptr<const Layer> DocumentBuilder::AddLayer(Content& content, Content& members,
                                                       LayerExpression expression) {
  auto layer = std::make_shared<Layer>(&members, std::move(expression));
  Own(members, *layer);
  Adopt(content, layer);
  return layer;
}

std::shared_ptr<const Document> DocumentBuilder::Build() {
  // The visual boxes of group and layer members are kept: a renderer asks each group
  // on its way down, which otherwise walks the whole subtree at every level. Pages and mask
  // contents are asked once at most and are not worth a pass over their members.
  // Nested contents are usually made after the content holding their group, so in
  // reverse order each content finds the boxes of its groups already kept. Any order
  // gives the same boxes: a content not yet kept computes its box as it always would.
  for (auto it = document_->contents_.rbegin(); it != document_->contents_.rend(); ++it) {
    if ((*it)->owner_ != nullptr) (*it)->KeepVisualBox();
  }
  document_->halftones_ = Halftones(std::move(halftones_));
  halftones_.clear();
  std::shared_ptr<const Document> built(document_.release());
  document_.reset(new Document());
  next_id_ = 1;
  last_ = ObjectSharing{};
  return built;
}

}  // namespace QorDoc
