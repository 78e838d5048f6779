// `qorsc info`: what the importer knows about a file, for people.
//
// Page geometry comes from the page tree alone; colorants and fonts need the pages
// imported, layers and the output intent their own look-ups. A part that fails is
// reported in its place and the rest still printed.
#include <lcms2.h>

#include <cstdio>
#include <exception>

#include "commands.h"

namespace QorScTool {

namespace {

void PrintBox(const char* name, const QorPdf::Box& box) {
  std::printf("  %-10s [%g %g %g %g]  (%g x %g)\n", name, box.llx, box.lly, box.urx, box.ury,
              box.Width(), box.Height());
}

std::string ProfileDescription(const std::vector<unsigned char>& profile) {
  cmsHPROFILE handle =
      cmsOpenProfileFromMem(profile.data(), static_cast<cmsUInt32Number>(profile.size()));
  if (handle == nullptr) return "unreadable ICC profile";
  char text[256] = {};
  cmsGetProfileInfoASCII(handle, cmsInfoDescription, "en", "US", text, sizeof text);
  const bool cmyk = cmsGetColorSpace(handle) == cmsSigCmykData;
  cmsCloseProfile(handle);
  std::string description = text[0] != '\0' ? text : "(no description)";
  if (!cmyk) description += " (not a CMYK profile)";
  return description;
}

// What a prepress user checks before output: each feature the page holds that will
// not print, with how often, one per line.
void PrintNotRendered(const QorPdf::ImportedPage& page) {
  if (page.not_rendered.empty()) {
    std::printf("  %-12s (nothing)\n", "Not rendered");
    return;
  }
  for (std::size_t i = 0; i < page.not_rendered.size(); ++i) {
    const QorPdf::NotRenderedFeature& entry = page.not_rendered[i];
    std::printf("  %-12s %zu x %s\n", i == 0 ? "Not rendered" : "", entry.count,
                entry.feature.c_str());
  }
}

}  // namespace

int RunInfo(const InfoArguments& a) {
  QorPdf::Document document = OpenDocument(a.input);
  std::printf("File: %s%s\n", document.Name().c_str(),
              document.IsEncrypted() ? " (encrypted, opened with the empty password)" : "");
  std::printf("Pages: %zu\n", document.PageCount());

  std::optional<QorPdf::Import> import;
  std::string import_failure;
  try {
    import = document.ImportPages({}, RenderableImportOptions(a.annotations));
  } catch (const std::exception& e) {
    import_failure = e.what();
  }

  for (std::size_t i = 0; i < document.PageCount(); ++i) {
    const QorPdf::Page& page = document.GetPage(i);
    std::printf("\nPage %zu\n", i + 1);
    PrintBox("MediaBox", page.media_box);
    PrintBox("CropBox", page.crop_box);
    std::printf("  %-10s %d\n", "Rotate", page.rotate);
    if (page.user_unit != 1.0) std::printf("  %-10s %g\n", "UserUnit", page.user_unit);
    if (!import) {
      std::printf("  colorants and fonts unavailable: %s\n", import_failure.c_str());
      continue;
    }
    const QorPdf::ImportedPage& imported = import->pages.at(i);
    std::printf("  %-10s %g x %g pt\n", "Displayed", imported.world_box.Width() / 1000.0,
                imported.world_box.Height() / 1000.0);
    if (!imported.incomplete.empty()) {
      std::printf("  %-10s %s (render refuses the page)\n", "Incomplete",
                  imported.incomplete.c_str());
    }
    std::string colorants;
    for (const auto& entry : imported.colorants) {
      colorants += (colorants.empty() ? "" : ", ") + entry.name;
    }
    std::printf("  %-10s %s\n", "Colorants", colorants.empty() ? "(none)" : colorants.c_str());
    PrintNotRendered(imported);
    if (imported.fonts.empty()) std::printf("  %-10s (none)\n", "Fonts");
    for (std::size_t f = 0; f < imported.fonts.size(); ++f) {
      const QorPdf::FontInfo& font = imported.fonts[f];
      std::string detail = font.subtype;
      if (font.embedded) {
        detail += ", embedded " + font.program;
      } else {
        detail += ", not embedded";
        if (!font.substitute.empty()) detail += ", drawn with " + font.substitute;
      }
      std::printf("  %-10s %s (%s)\n", f == 0 ? "Fonts" : "", font.name.c_str(), detail.c_str());
    }
  }

  std::printf("\nLayers:");
  try {
    const std::vector<QorPdf::LayerInfo> layers = document.Layers();
    if (layers.empty()) std::printf(" none");
    std::printf("\n");
    for (const QorPdf::LayerInfo& layer : layers) {
      std::printf("  %s (%s)\n", layer.name.c_str(),
                  layer.visible_by_default ? "visible" : "hidden");
    }
  } catch (const std::exception& e) {
    std::printf(" unavailable: %s\n", e.what());
  }

  std::printf("Output intent: ");
  try {
    const std::vector<unsigned char>& profile = document.OutputIntentProfile();
    if (profile.empty()) {
      std::printf("none\n");
    } else {
      std::printf("%s (%zu bytes)\n", ProfileDescription(profile).c_str(), profile.size());
    }
  } catch (const std::exception& e) {
    std::printf("unavailable: %s\n", e.what());
  }

  const auto& warnings = document.Warnings();
  std::printf("Warnings: %zu\n", warnings.size() + document.DroppedWarningCount());
  for (const QorPdf::Warning& w : warnings) {
    const std::string where = w.page ? "page " + std::to_string(*w.page + 1) + ": " : "";
    std::printf("  %s%s%s%s\n", where.c_str(), w.subject.c_str(), w.subject.empty() ? "" : ": ",
                w.reason.c_str());
  }
  if (document.DroppedWarningCount() > 0) {
    std::printf("  ... and %zu more not kept\n", document.DroppedWarningCount());
  }
  return 0;
}

}  // namespace QorScTool
