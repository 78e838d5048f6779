// Element attributes made from document objects. Setup work: runs once per element
// when a fill is assembled, never per pixel or per line.

#include "documentgraph/attributes.h"

namespace DocumentGraph {

std::shared_ptr<const ElementAttribute> MakeElementAttribute(const QorDoc::Fillable& object,
                                                             bool stroke) {
  ElementAttribute::Definition definition;
  definition.transparency = object.GetTransparency();
  definition.objectTransformation = QorDoc::GetAbsoluteTransformation(object);
  // Paints are laid out in the object's content, as collection of the content
  // itself places them.
  const QorDoc::ContentObject* parent = object.GetParent();
  definition.contentTransformation = parent != nullptr ? QorDoc::GetAbsoluteTransformation(*parent)
                                                       : Morv::MilliPointTransformation{};
  definition.objectForSelection = &object;
  definition.object = &object;
  definition.paint = stroke ? object.GetStrokePaint() : object.GetFillPaint();
  definition.selectStroke = stroke;
  return std::make_shared<const ElementAttribute>(std::move(definition));
}

}  // namespace DocumentGraph
