#include "qordoc/separation.h"

namespace QorDoc {

const Separation::Entry* Separation::Find(const std::vector<Entry>& entries,
                                          std::string_view name) {
  for (const Entry& entry : entries) {
    if (entry.GetName() == name) return &entry;
  }
  return nullptr;
}

QorColor::CmykIndex::Type GetCmykIndex(const std::string& name) {
  for (int i = 0; i < 4; ++i) {
    if (name == QorColor::kCmykNames[i]) return static_cast<QorColor::CmykIndex::Type>(i);
  }
  return QorColor::CmykIndex::None;
}

}  // namespace QorDoc
