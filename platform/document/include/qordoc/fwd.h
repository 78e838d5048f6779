// Forward declarations of the document model, for interfaces that only pass its
// objects through.
#pragma once

namespace QorDoc {

class Document;
class Content;
class ContentObject;
class LayerProperties;

}  // namespace QorDoc
