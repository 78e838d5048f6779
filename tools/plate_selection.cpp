// Choosing plates: auto, cmyk, gray or an explicit list.
#include "plate_selection.h"

#include "qorcolor/cmyk.h"

namespace QorScTool {

namespace {

QorSc::Options SeparationOptions(const std::vector<std::string>& names,
                                 const QorSc::Options::SeparationInfo& table) {
  QorSc::Options::SeparationList list;
  for (const std::string& name : names)
    list.Add(name, 0.0f);
  return QorSc::Options(std::move(list), table);
}

std::vector<std::string> ProcessNames() {
  return {QorColor::kCmykNames, QorColor::kCmykNames + 4};
}

}  // namespace

bool PlateSet::IsCmyk() const {
  return names == ProcessNames();
}

bool IsProcessColorant(const std::string& name) {
  for (const char* process : QorColor::kCmykNames) {
    if (name == process) return true;
  }
  return false;
}

PlateSet ChoosePlates(const ColorantChoice& choice, const QorColor::Color& page_colorants,
                      const QorSc::Options::SeparationInfo& separation_table) {
  switch (choice.kind) {
    case ColorantChoice::kGray:
      return {{"Black"}, QorSc::Options(false, separation_table)};
    case ColorantChoice::kCmyk:
      return {ProcessNames(), QorSc::Options(true, separation_table)};
    case ColorantChoice::kList:
      return {choice.names, SeparationOptions(choice.names, separation_table)};
    case ColorantChoice::kAuto:
      break;
  }
  std::vector<std::string> names = ProcessNames();
  for (const auto& entry : page_colorants) {
    if (IsProcessColorant(entry.name) || entry.name == "All" || entry.name == "None") continue;
    bool seen = false;
    for (const std::string& name : names)
      seen = seen || name == entry.name;
    if (!seen) names.push_back(entry.name);
  }
  QorSc::Options options = SeparationOptions(names, separation_table);
  return {std::move(names), std::move(options)};
}

}  // namespace QorScTool
