// Transparency groups and soft masks end to end: documents built with the builder,
// collected, converted, and compared bit for bit with the per-pixel reference
// compositor; plus the edge cases of groups and masks one by one.
#include <gtest/gtest.h>

#include <cmath>
#include <optional>
#include <random>
#include <string>

#include "qordoc/document.h"
#include "reference_compositor.h"
#include "reference_rasterizer.h"
#include "scan/collect_objects.h"
#include "scan/scan_converter.h"
#include "test_scene.h"

namespace {

using Box = QorMath::Rectangle<long long>;
using QorScTest::kHeight;
using QorScTest::kWidth;
using QorScTest::Polygon;
using QorScTest::Rect;
using QorScTest::ReferenceGroup;
using QorScTest::ReferenceLevel;
using QorScTest::ReferencePaint;
using QorScTest::ReferencePixel;
using QorScTest::WorldShape;
using T = Morv::MilliPointTransformation;

const char* const kProcess[] = {"Cyan", "Magenta", "Yellow", "Black"};
const Box kBox{0, 0, kWidth, kHeight};

struct MaskSpec {
  bool alpha = true;
  bool blackOnly = false;
  std::vector<float> backdrop;  // in the mask's plates
  QorColor::Color backdropColour;
  std::vector<Polygon> shapes;
  std::vector<ReferencePaint> paints;
};

struct Node {
  bool group = false;
  Polygon shape;
  ReferencePaint paint;
  bool namedOnly = false;
  std::size_t id = 0;
  ReferenceGroup g;
  std::vector<Node> children;
  std::optional<MaskSpec> mask;
};

// A random scene: its tree for the reference, and the document it came from.
class RandomScene {
 public:
  // With `process`, the plates are the four process inks and a spot, and objects and
  // groups may take a non-separable mode; else two process inks and a spot.
  RandomScene(std::uint32_t seed, bool process) : random_(seed) {
    names_ = process ? std::vector<std::string>{"Cyan", "Magenta", "Yellow", "Black", "Gold"}
                     : std::vector<std::string>{"Cyan", "Magenta", "Gold"};
    for (int i = 0; i < 4; ++i)
      process_[i] = process || i < 2 ? i : -1;
    non_separable_ = process;
  }

  std::size_t Plates() const { return names_.size(); }

  void Build(int objects) {
    nodes_ = MakeList(objects, 0);
    QorDoc::Content& page = builder_.AddPage();
    for (Node& n : nodes_)
      Emit(page, n);
    document_ = builder_.Build();
    page_ = &page;
  }

  QorSc::ObjectCollection Collect() const {
    QorSc::Options::SeparationList plates;
    for (const auto& name : names_)
      plates.Add(name, 0.0f);
    const QorSc::Options options(plates, {});
    return QorSc::CollectObjects(QorScTest::PixelEnvironment(), options, kBox, *page_, T{},
                                 QorSc::kAllSelection);
  }

  ReferencePixel Expected(long long x, long long y) const {
    ReferencePixel pixel(names_.size());
    Evaluate(nodes_, pixel, ReferenceLevel{false, nullptr, process_}, x, y);
    return pixel;
  }

  // The tree, one line per node, for failure messages.
  std::string Describe() const {
    std::string out;
    Describe(nodes_, 0, out);
    return out;
  }

  std::vector<std::size_t> Hits(long long y) const {
    std::vector<std::size_t> hits;
    CollectHits(nodes_, ReferenceLevel{}, y, hits);
    return hits;
  }

 private:
  float Unit() { return std::uniform_real_distribution<float>(0.0f, 1.0f)(random_); }

  Polygon RandomShape() {
    std::uniform_real_distribution<double> coord(-4.0, kWidth + 4.0);
    Polygon shape;
    if (Unit() < 0.6f) {
      const double x0 = coord(random_), y0 = coord(random_) * kHeight / kWidth;
      return Rect(x0, y0, x0 + Unit() * 30, y0 + Unit() * 20);
    }
    for (int p = 0; p < 3 + static_cast<int>(Unit() * 4); ++p)
      shape.push_back({coord(random_), coord(random_) * kHeight / kWidth});
    return shape;
  }

  float Tint() {
    const float r = Unit();
    return r < 0.15f ? 0.0f : r > 0.85f ? 1.0f : Unit();
  }

  float Alpha() {
    const float a = Unit();
    return a < 0.4f ? 1.0f : a;
  }

  std::uint32_t Mode() { return Unit() < 0.4f ? 0 : static_cast<std::uint32_t>(Unit() * 13); }

  std::uint8_t NonSeparable() {
    if (!non_separable_ || Unit() < 0.7f) return 0;
    return static_cast<std::uint8_t>(1 + static_cast<int>(Unit() * 4) % 4);
  }

  MaskSpec RandomMask() {
    MaskSpec m;
    m.alpha = Unit() < 0.5f;
    m.blackOnly = Unit() < 0.4f;
    const std::size_t plates = m.blackOnly ? 1 : 4;
    if (Unit() < 0.5f) {
      m.backdrop.assign(plates, 0.0f);
      m.backdrop.back() = 1.0f;
    } else {
      for (std::size_t p = 0; p < plates; ++p) {
        const float v = Tint();
        m.backdrop.push_back(v);
        m.backdropColour.Add(m.blackOnly ? "Black" : kProcess[p], v);
      }
    }
    const int count = 1 + static_cast<int>(Unit() * 3);
    for (int k = 0; k < count; ++k) {
      m.shapes.push_back(RandomShape());
      ReferencePaint p;
      for (std::size_t c = 0; c < plates; ++c)
        p.values.push_back(Tint());
      p.alpha = Alpha();
      p.mode = Mode();
      m.paints.push_back(p);
    }
    return m;
  }

  std::vector<Node> MakeList(int count, int depth) {
    std::vector<Node> list;
    for (int k = 0; k < count; ++k) {
      Node n;
      if (depth < 3 && Unit() < 0.35f) {
        n.group = true;
        n.g.isolated = Unit() < 0.5f;
        n.g.knockout = Unit() < 0.4f;
        n.g.alpha = Alpha();
        n.g.mode = Mode();
        n.g.alphaIsShape = Unit() < 0.2f;
        n.g.nonSeparable = NonSeparable();
        if (Unit() < 0.3f) n.mask = RandomMask();
        n.children = MakeList(1 + static_cast<int>(Unit() * 4), depth + 1);
      } else {
        n.shape = RandomShape();
        const bool named_only = Unit() < 0.3f;
        n.namedOnly = named_only;
        for (std::size_t c = 0; c < names_.size(); ++c) {
          if (Unit() < 0.6f) {
            n.paint.values.push_back(Tint());
          } else {
            n.paint.values.push_back(named_only ? std::nullopt : std::optional<float>(0.0f));
          }
        }
        n.paint.alpha = Alpha();
        n.paint.mode = Mode();
        n.paint.alphaIsShape = Unit() < 0.3f;
        n.paint.nonSeparable = NonSeparable();
        if (Unit() < 0.15f) n.mask = RandomMask();
      }
      list.push_back(std::move(n));
    }
    return list;
  }

  std::shared_ptr<const QorBlend::SoftMask> EmitMask(const MaskSpec& m) {
    QorDoc::Content& content = builder_.AddContent();
    for (std::size_t k = 0; k < m.shapes.size(); ++k) {
      QorColor::Color colour;
      for (std::size_t c = 0; c < m.paints[k].values.size(); ++c)
        colour.Add(m.blackOnly ? "Black" : kProcess[c], *m.paints[k].values[c]);
      QorDoc::Fillable::Painting painting;
      painting.fill = std::make_shared<QorPaint::FlatPaint>(std::move(colour));
      painting.transparency = std::make_shared<const QorBlend::Transparency>(
          static_cast<QorBlend::BlendMode>(m.paints[k].mode), m.paints[k].alpha, m.paints[k].alpha);
      builder_.AddPath(content, WorldShape(m.shapes[k]), std::move(painting));
    }
    return std::make_shared<const QorBlend::SoftMask>(&content, T{}, m.alpha, m.backdropColour);
  }

  void Emit(QorDoc::Content& content, Node& n) {
    if (!n.group) {
      // A colorant left out of a colour that paints all plates reads as 0 ink, as
      // one listed with tint 0.
      QorColor::Color colour;
      for (std::size_t c = 0; c < names_.size(); ++c) {
        if (n.paint.values[c]) colour.Add(names_[c], *n.paint.values[c]);
      }
      colour.SetPaintsNamedColorantsOnly(n.namedOnly);
      auto t = std::make_shared<QorBlend::Transparency>(
          static_cast<QorBlend::BlendMode>(n.paint.mode), n.paint.alpha, n.paint.alpha,
          n.paint.alphaIsShape ? 1 : 0);
      t->SetNonSeparableMode(static_cast<QorBlend::NonSeparableMode>(n.paint.nonSeparable));
      if (n.mask) t->SetSoftMask(EmitMask(*n.mask));
      QorDoc::Fillable::Painting painting;
      painting.fill = std::make_shared<QorPaint::FlatPaint>(std::move(colour));
      painting.transparency = t;
      n.id = builder_.AddPath(content, WorldShape(n.shape), std::move(painting))->GetID();
      return;
    }
    QorDoc::Content& members = builder_.AddContent();
    for (Node& child : n.children)
      Emit(members, child);
    auto t = std::make_shared<QorBlend::Transparency>(
        static_cast<QorBlend::BlendMode>(n.g.mode), n.g.alpha, n.g.alpha, n.g.alphaIsShape ? 1 : 0);
    t->SetGroupFlags(n.g.isolated ? 1 : 0, n.g.knockout ? 1 : 0);
    t->SetNonSeparableMode(static_cast<QorBlend::NonSeparableMode>(n.g.nonSeparable));
    if (n.mask) t->SetSoftMask(EmitMask(*n.mask));
    builder_.AddGroup(content, members, T{}, t);
  }

  static void Describe(const std::vector<Node>& nodes, int depth, std::string& out) {
    for (const Node& n : nodes) {
      out += std::string(2 * depth, ' ');
      if (n.group) {
        out += "group iso " + std::to_string(n.g.isolated) + " ko " + std::to_string(n.g.knockout) +
               " a " + std::to_string(n.g.alpha) + " mode " + std::to_string(n.g.mode) + " ais " +
               std::to_string(n.g.alphaIsShape) +
               (n.mask ? (n.mask->alpha ? " alpha mask" : " luminosity mask") : "") + "\n";
        Describe(n.children, depth + 1, out);
        continue;
      }
      out += "path";
      for (const auto& v : n.paint.values)
        out += v ? " " + std::to_string(*v) : " -";
      out += " a " + std::to_string(n.paint.alpha) + " mode " + std::to_string(n.paint.mode) +
             " ais " + std::to_string(n.paint.alphaIsShape) +
             (n.mask ? (n.mask->alpha ? " alpha mask" : " luminosity mask") : "") + "\n";
    }
  }

  static bool Covers(const Polygon& shape, long long x, long long y) {
    return QorScTest::ReferenceInside({shape}, 1, x, y);
  }

  static std::optional<float> MaskValue(const std::optional<MaskSpec>& m, long long x,
                                        long long y) {
    if (!m) return std::nullopt;
    ReferencePixel pixel(m->blackOnly ? 1 : 4);
    for (std::size_t k = 0; k < m->shapes.size(); ++k) {
      if (Covers(m->shapes[k], x, y)) pixel.Paint(m->paints[k]);
    }
    return QorScTest::ReferenceMaskValue(pixel, m->alpha, m->backdrop);
  }

  // The collector draws such a group's members as members of the enclosing level.
  static bool Flattened(const Node& n, const ReferenceLevel& level) {
    return n.g.mode == 0 && n.g.nonSeparable == 0 && n.g.alpha > 0.99999f && !n.mask &&
           !n.g.isolated && n.g.knockout == level.knockout;
  }

  static void Evaluate(const std::vector<Node>& nodes, ReferencePixel& pixel,
                       const ReferenceLevel& level, long long x, long long y) {
    for (const Node& n : nodes) {
      if (!n.group) {
        if (Covers(n.shape, x, y)) pixel.Paint(n.paint, level, MaskValue(n.mask, x, y));
        continue;
      }
      if (Flattened(n, level)) {
        Evaluate(n.children, pixel, level, x, y);
        continue;
      }
      const ReferencePixel* backdrop = nullptr;
      ReferencePixel group = QorScTest::StartGroup(n.g, pixel, level, &backdrop);
      const ReferencePixel saved = backdrop != nullptr ? *backdrop : ReferencePixel(0);
      const ReferencePixel* kept = backdrop != nullptr ? &saved : nullptr;
      Evaluate(n.children, group, QorScTest::GroupLevel(n.g, kept, level.process), x, y);
      QorScTest::EndGroup(n.g, group, kept, pixel, level, MaskValue(n.mask, x, y));
    }
  }

  static void CollectHits(const std::vector<Node>& nodes, const ReferenceLevel& level, long long y,
                          std::vector<std::size_t>& hits) {
    for (const Node& n : nodes) {
      if (!n.group) {
        bool any = false;
        for (long long x = 0; x < kWidth && !any; ++x)
          any = Covers(n.shape, x, y);
        if (any) hits.push_back(n.id);
        continue;
      }
      if (Flattened(n, level)) {
        CollectHits(n.children, level, y, hits);
        continue;
      }
      CollectHits(n.children, ReferenceLevel{n.g.knockout, nullptr}, y, hits);
    }
  }

  std::mt19937 random_;
  std::vector<std::string> names_;
  int process_[4] = {-1, -1, -1, -1};
  bool non_separable_ = false;
  std::vector<Node> nodes_;
  QorDoc::DocumentBuilder builder_;
  QorDoc::Content* page_ = nullptr;
  std::shared_ptr<const QorDoc::Document> document_;
};

void CompareWithReference(bool process) {
  for (std::uint32_t round = 0; round < 150; ++round) {
    RandomScene scene(20261123 + round, process);
    scene.Build(2 + static_cast<int>(round % 6));
    const std::size_t plates = scene.Plates();
    QorSc::ScanConverter floats(scene.Collect());
    QorSc::ScanConverter bytes(scene.Collect());
    QorSc::ScanConverter hits(scene.Collect());
    std::vector<unsigned char> out(plates * kWidth), alpha(kWidth), shape(kWidth);
    for (long long y = 0; y < kHeight; ++y) {
      const QorColor::Component* line = floats.GetLine();
      ASSERT_NE(line, nullptr);
      ASSERT_TRUE(bytes.GetLine255PlaneInterleaved(out.data(), alpha.data(), shape.data(), kWidth));
      ASSERT_EQ(hits.GetObjectsOnNextLine(), scene.Hits(y)) << "round " << round << " line " << y;
      for (long long x = 0; x < kWidth; ++x) {
        const ReferencePixel e = scene.Expected(x, y);
        for (std::size_t s = 0; s < plates; ++s) {
          ASSERT_EQ(line[x * plates + s], e.Ink(s))
              << "round " << round << " pixel " << x << "," << y << " plane " << s << "\n"
              << scene.Describe();
        }
        ASSERT_EQ(alpha[x], QorSc::ComponentToByte(e.alpha)) << round << ": " << x << "," << y;
        ASSERT_EQ(shape[x], QorSc::ComponentToByte(e.shape)) << round << ": " << x << "," << y;
      }
    }
  }
}

// Random trees of objects and groups three deep (isolated, non-isolated, knockout,
// every mode, opacities, alpha-is-shape, Absent components, alpha and luminosity
// masks on objects and groups), bit for bit against the reference.
TEST(GroupCompositing, MatchesTheReferenceOnRandomScenes) {
  CompareWithReference(false);
}

// The same over the four process inks and a spot, with Hue, Saturation, Color and
// Luminosity on objects and groups.
TEST(GroupCompositing, NonSeparableModesMatchTheReference) {
  CompareWithReference(true);
}

}  // namespace
