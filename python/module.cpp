// The `qorsc._qorsc` extension: documents, pages and their renders for Python.
//
// The Pythonic surface (argument defaults, dtype names, the Plates array) lives in
// the `qorsc` package around it; this layer converts arguments, owns the imported
// pages and releases the interpreter lock while rendering. A QorPdf::Document is not
// safe from two threads, so every use of it holds the document's mutex; an imported
// page is its own document model and renders from any number of threads at once.
// Errors become exceptions: ImportError (a ValueError) for unreadable files,
// IndexError for pages and pixels outside the document, ValueError for bad
// arguments, never a crash.
#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>
#include <pybind11/stl.h>

#include <array>
#include <chrono>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <variant>

#include "arguments.h"
#include "commands.h"
#include "hits.h"
#include "page_render.h"
#include "preview.h"

namespace py = pybind11;

namespace QorScPy {

namespace {

using QorScTool::ColorantChoice;

std::string FormatWarning(const QorPdf::Warning& w) {
  return w.subject + (w.subject.empty() ? "" : ": ") + w.reason;
}

class Page {
 public:
  Page(std::string file_name, QorPdf::Import import, std::vector<std::string> warnings,
       std::vector<unsigned char> output_intent)
      : file_name_(std::move(file_name)),
        import_(std::move(import)),
        warnings_(std::move(warnings)),
        output_intent_(std::move(output_intent)) {}

  // Like `qorsc render`, a page whose content was not read to its end (the file asks
  // for more than any real page needs) is not rendered as if it were whole.
  void CheckComplete() const {
    if (!Imported().incomplete.empty()) {
      throw QorPdf::ImportError(file_name_, "page " + std::to_string(Imported().index + 1) +
                                                " is refused: " + Imported().incomplete);
    }
  }

  const QorPdf::ImportedPage& Imported() const { return import_.pages.at(0); }

  QorScTool::PageInput Input() const {
    const QorPdf::ImportedPage& page = Imported();
    return {import_.document, page.content, page.world_box, page.colorants};
  }

  std::vector<std::string> Colorants() const {
    std::vector<std::string> names;
    for (const auto& entry : Imported().colorants)
      names.push_back(entry.name);
    return names;
  }

  const std::vector<std::string>& Warnings() const { return warnings_; }
  const std::vector<unsigned char>& OutputIntent() const { return output_intent_; }
  const QorSc::Options::SeparationInfo& SeparationTable() const {
    return import_.document->GetSeparationInfo();
  }

 private:
  std::string file_name_;
  QorPdf::Import import_;
  std::vector<std::string> warnings_;
  std::vector<unsigned char> output_intent_;
};

class Document {
 public:
  // `annotations`: pages draw their printable annotations, as `render --annotations`.
  Document(QorPdf::Document document, bool annotations)
      : document_(std::move(document)), annotations_(annotations) {}

  std::size_t PageCount() {
    std::lock_guard lock(mutex_);
    return document_.PageCount();
  }

  std::string Name() {
    std::lock_guard lock(mutex_);
    return document_.Name();
  }

  std::shared_ptr<Page> GetPage(std::size_t index) {
    std::lock_guard lock(mutex_);
    const std::vector<std::size_t> indices =
        QorScTool::ZeroBasedPages({index + 1}, document_.PageCount());
    QorPdf::Import import =
        document_.ImportPages(indices, QorScTool::RenderableImportOptions(annotations_));
    return std::make_shared<Page>(document_.Name(), std::move(import), WarningsOf(index),
                                  OutputIntentLocked());
  }

  // The whole file's warnings (those of no particular page).
  std::vector<std::string> Warnings() {
    std::lock_guard lock(mutex_);
    return WarningsOf(std::nullopt);
  }

  py::object OutputIntent() {
    std::vector<unsigned char> profile;
    {
      std::lock_guard lock(mutex_);
      profile = OutputIntentLocked();
    }
    if (profile.empty()) return py::none();
    return py::bytes(reinterpret_cast<const char*>(profile.data()), profile.size());
  }

 private:
  std::vector<std::string> WarningsOf(std::optional<std::size_t> page) const {
    std::vector<std::string> texts;
    for (const QorPdf::Warning& w : document_.Warnings()) {
      if (w.page == page) texts.push_back(FormatWarning(w));
    }
    return texts;
  }

  // An unreadable output intent is no reason to refuse the page: it has none then.
  std::vector<unsigned char> OutputIntentLocked() {
    try {
      return document_.OutputIntentProfile();
    } catch (const std::exception&) {
      return {};
    }
  }

  std::mutex mutex_;
  QorPdf::Document document_;
  bool annotations_ = false;
};

using Colorants = std::variant<std::string, std::vector<std::string>>;

ColorantChoice ToChoice(const Colorants& colorants) {
  if (const auto* text = std::get_if<std::string>(&colorants)) {
    // Only the keywords: a typo such as "CMYK" must not become a plate of that name.
    ColorantChoice choice = QorScTool::ParseColorants(*text);
    if (choice.kind == ColorantChoice::kList) {
      throw QorScTool::UsageError("colorants: '" + *text +
                                  "' is not 'auto', 'cmyk' or 'gray' (name plates in a list)");
    }
    return choice;
  }
  const auto& names = std::get<std::vector<std::string>>(colorants);
  if (names.empty()) throw QorScTool::UsageError("colorants: the list of plates is empty");
  for (std::size_t i = 0; i < names.size(); ++i) {
    if (names[i].empty()) throw QorScTool::UsageError("colorants: empty plate name");
    for (std::size_t j = 0; j < i; ++j) {
      if (names[j] == names[i]) {
        throw QorScTool::UsageError("colorants: '" + names[i] + "' is named twice");
      }
    }
  }
  return {ColorantChoice::kList, names};
}

void CheckDpi(double dpi) {
  if (!(dpi > 0.0 && dpi <= QorScTool::kMaxResolution)) {
    throw QorScTool::UsageError("dpi: " + std::to_string(dpi) + " is not between 0 and " +
                                std::to_string(static_cast<long>(QorScTool::kMaxResolution)));
  }
}

QorScTool::RenderSettings Settings(double dpi, int aa, const std::string& filter,
                                   long long threads) {
  CheckDpi(dpi);
  if (aa < 1 || aa > 4) throw QorScTool::UsageError("aa: " + std::to_string(aa) + " is not 1 to 4");
  if (threads < 1 || threads > 1024) {
    throw QorScTool::UsageError("threads: " + std::to_string(threads) + " is not 1 to 1024");
  }
  QorScTool::RenderSettings settings;
  settings.resolution = dpi;
  settings.anti_alias = aa;
  if (filter == "tent") {
    settings.filter = QorScTool::AntiAliasFilter::kTent;
  } else if (filter == "box") {
    settings.filter = QorScTool::AntiAliasFilter::kBox;
  } else {
    throw QorScTool::UsageError("aa_filter: '" + filter + "' is neither 'tent' nor 'box'");
  }
  settings.threads = static_cast<unsigned>(threads);
  return settings;
}

// Lets Ctrl-C stop a render: at most every 100 ms the calling thread takes the
// interpreter lock and runs Python's signal handlers. A handler's exception (such as
// KeyboardInterrupt) stays set and stops the render with Interrupted; Rendering()
// turns that back into the Python exception.
std::function<void()> SignalPoll() {
  using Clock = std::chrono::steady_clock;
  return [next = Clock::now()]() mutable {
    const Clock::time_point now = Clock::now();
    if (now < next) return;
    next = now + std::chrono::milliseconds(100);
    py::gil_scoped_acquire acquire;
    if (PyErr_CheckSignals() != 0) throw QorScTool::Interrupted();
  };
}

// Runs `render` without the interpreter lock.
template <class Render>
void Rendering(Render&& render) {
  try {
    py::gil_scoped_release release;
    render();
  } catch (const QorScTool::Interrupted&) {
    if (PyErr_Occurred() != nullptr) throw py::error_already_set();
    throw;
  }
}

SampleType ToSampleType(const std::string& dtype) {
  if (dtype == "uint8") return SampleType::kByte;
  if (dtype == "float32") return SampleType::kFloat;
  throw QorScTool::UsageError("dtype: " + dtype + " is neither uint8 nor float32");
}

RenderRequest Request(const Page& page, double dpi, const Colorants& colorants, int aa,
                      const std::string& filter, long long threads, const std::string& dtype,
                      const std::optional<std::array<long long, 4>>& box) {
  page.CheckComplete();
  const QorScTool::PageInput input = page.Input();
  std::optional<PixelBox> pixels;
  if (box) pixels = PixelBox{(*box)[0], (*box)[1], (*box)[2], (*box)[3]};
  RenderRequest request{
      QorScTool::ChoosePlates(ToChoice(colorants), input.colorants, page.SeparationTable()),
      Settings(dpi, aa, filter, threads), ChooseBox(input, dpi, pixels), ToSampleType(dtype),
      SignalPoll()};
  QorScTool::CheckPageSize(QorScTool::PagePixelSize(input.world_box, dpi),
                           request.plates.names.size(), request.settings);
  return request;
}

py::array NewArray(const RenderRequest& request, std::vector<py::ssize_t> shape) {
  if (request.type == SampleType::kFloat) return py::array_t<float>(shape);
  return py::array_t<unsigned char>(shape);
}

py::tuple Render(const Page& page, double dpi, const Colorants& colorants, int aa,
                 const std::string& filter, long long threads, const std::string& dtype,
                 const std::optional<std::array<long long, 4>>& box) {
  const RenderRequest request = Request(page, dpi, colorants, aa, filter, threads, dtype, box);
  py::array array = NewArray(request, {static_cast<py::ssize_t>(request.plates.names.size()),
                                       static_cast<py::ssize_t>(request.box.Height()),
                                       static_cast<py::ssize_t>(request.box.Width())});
  void* out = array.mutable_data();
  const QorScTool::PageInput input = page.Input();
  Rendering([&] { RenderInto(input, request, out); });
  return py::make_tuple(array, request.plates.names);
}

class Lines {
 public:
  Lines(const Page& page, RenderRequest request)
      : request_(request),
        source_(std::make_unique<LineSource>(page.Input(), std::move(request))) {}

  py::array Next() {
    if (!source_) throw py::stop_iteration();
    py::array line = NewArray(request_, {static_cast<py::ssize_t>(request_.plates.names.size()),
                                         static_cast<py::ssize_t>(request_.box.Width())});
    void* out = line.mutable_data();
    bool more = false;
    {
      py::gil_scoped_release release;
      more = source_->Next(out);
    }
    if (!more) {
      source_.reset();
      throw py::stop_iteration();
    }
    return line;
  }

  const std::vector<std::string>& PlateNames() const { return request_.plates.names; }

  // Stops the render early and frees its thread and buffers.
  void Close() {
    py::gil_scoped_release release;
    source_.reset();
  }

 private:
  RenderRequest request_;
  std::unique_ptr<LineSource> source_;
};

std::vector<QorScTool::Hit> Hits(const Page& page, long long x, long long y, double dpi) {
  CheckDpi(dpi);
  py::gil_scoped_release release;
  return QorScTool::FindHits(page.Input(), dpi, x, y);
}

py::array Preview(const Page& page, double dpi, const Colorants& colorants, int aa,
                  const std::string& filter, long long threads) {
  const RenderRequest request =
      Request(page, dpi, colorants, aa, filter, threads, "uint8", std::nullopt);
  const auto width = static_cast<std::size_t>(request.box.Width());
  const auto height = static_cast<std::size_t>(request.box.Height());
  py::array_t<unsigned char> rgb(
      {static_cast<py::ssize_t>(height), static_cast<py::ssize_t>(width), py::ssize_t{3}});
  unsigned char* out = rgb.mutable_data();
  const QorScTool::PageInput input = page.Input();
  Rendering([&] {
    QorScTool::Preview preview(request.plates.names, page.SeparationTable(), page.OutputIntent(),
                               width);
    LineSource lines(input, request);
    std::vector<unsigned char> line(request.plates.names.size() * width);
    while (lines.Next(line.data())) {
      request.poll();
      preview.Convert(line.data(), out);
      out += 3 * width;
    }
  });
  return rgb;
}

}  // namespace

}  // namespace QorScPy

PYBIND11_MODULE(_qorsc, m) {
  using namespace QorScPy;
  m.doc() = "The compiled core of the qorsc package; use the qorsc package itself.";
  m.attr("__version__") = QORSC_VERSION;

  py::register_exception<QorPdf::ImportError>(m, "ImportError", PyExc_ValueError);
  py::register_exception_translator([](std::exception_ptr error) {
    try {
      if (error) std::rethrow_exception(error);
    } catch (const QorScTool::UsageError& e) {
      PyErr_SetString(PyExc_ValueError, e.what());
    }
  });

  using QorScTool::Hit;
  py::class_<Hit>(m, "Hit", "An object painting a pixel.")
      .def_readonly("id", &Hit::id, "The object's identifier in the page's document model.")
      .def_readonly("kind", &Hit::kind, "What it is: 'path', 'text', 'image mask', ...")
      .def_readonly("description", &Hit::description, "Its paint, stroke, halftone, opacity.")
      .def("__repr__", [](const Hit& h) {
        return "Hit(id=" + std::to_string(h.id) + ", kind='" + h.kind + "', description='" +
               h.description + "')";
      });

  py::class_<Lines>(m, "Lines")
      .def("__iter__", [](Lines& lines) -> Lines& { return lines; })
      .def("__next__", &Lines::Next)
      .def("close", &Lines::Close)
      .def_property_readonly("plate_names", &Lines::PlateNames);

  py::class_<Page, std::shared_ptr<Page>>(m, "Page")
      .def_property_readonly("index", [](const Page& p) { return p.Imported().index; })
      .def_property_readonly("size",
                             [](const Page& p) {
                               const auto& box = p.Imported().world_box;
                               return std::make_pair(box.Width() / 1000.0, box.Height() / 1000.0);
                             })
      .def_property_readonly("colorants", &Page::Colorants)
      .def_property_readonly("warnings", &Page::Warnings)
      .def_property_readonly("not_rendered",
                             [](const Page& p) {
                               std::vector<std::pair<std::string, std::size_t>> entries;
                               for (const auto& e : p.Imported().not_rendered)
                                 entries.emplace_back(e.feature, e.count);
                               return entries;
                             })
      .def_property_readonly("incomplete",
                             [](const Page& p) -> std::optional<std::string> {
                               if (p.Imported().incomplete.empty()) return std::nullopt;
                               return p.Imported().incomplete;
                             })
      .def("render", &Render, py::arg("dpi"), py::arg("colorants"), py::arg("aa"),
           py::arg("aa_filter"), py::arg("threads"), py::arg("dtype"), py::arg("box"))
      .def(
          "lines",
          [](const Page& page, double dpi, const Colorants& colorants, int aa,
             const std::string& filter, long long threads, const std::string& dtype,
             const std::optional<std::array<long long, 4>>& box) {
            return std::make_unique<Lines>(
                page, Request(page, dpi, colorants, aa, filter, threads, dtype, box));
          },
          py::arg("dpi"), py::arg("colorants"), py::arg("aa"), py::arg("aa_filter"),
          py::arg("threads"), py::arg("dtype"), py::arg("box"))
      .def("hits", &Hits, py::arg("x"), py::arg("y"), py::arg("dpi"))
      .def("preview", &Preview, py::arg("dpi"), py::arg("colorants"), py::arg("aa"),
           py::arg("aa_filter"), py::arg("threads"));

  py::class_<Document>(m, "Document")
      .def_property_readonly("name", &Document::Name)
      .def_property_readonly("page_count", &Document::PageCount)
      .def_property_readonly("warnings", &Document::Warnings)
      .def_property_readonly("output_intent", &Document::OutputIntent)
      .def("page", &Document::GetPage, py::arg("index"), py::call_guard<py::gil_scoped_release>());

  m.def(
      "open_file",
      [](const std::string& path, bool annotations) {
        py::gil_scoped_release release;
        return std::make_unique<Document>(QorScTool::OpenDocument(path), annotations);
      },
      py::arg("path"), py::arg("annotations"));
  m.def(
      "open_bytes",
      [](const py::bytes& data, bool annotations) {
        const std::string_view view = data;
        const auto* bytes = reinterpret_cast<const std::byte*>(view.data());
        return std::make_unique<Document>(
            QorPdf::Document::OpenBuffer(std::span<const std::byte>(bytes, view.size())),
            annotations);
      },
      py::arg("data"), py::arg("annotations"));
}
