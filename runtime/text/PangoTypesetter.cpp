#include <fontconfig/fontconfig.h>
#include <pango/pangocairo.h>
#include <pango/pangofc-font.h>

#include <algorithm>
#include <cmath>
#include <sstream>
#include <stdexcept>

#include "runtime/Limits.h"
#include "runtime/RuntimeExport.h"
#include "runtime/text/PlainText.h"
#include "runtime/text/Typesetter.h"

namespace vuo {

namespace {

struct Release {
  void operator()(PangoContext* context) const { g_object_unref(context); }
  void operator()(PangoLayout* layout) const { g_object_unref(layout); }
  void operator()(PangoFont* font) const { g_object_unref(font); }
  void operator()(PangoFontDescription* description) const {
    pango_font_description_free(description);
  }
  void operator()(cairo_font_options_t* options) const { cairo_font_options_destroy(options); }
  void operator()(cairo_surface_t* surface) const { cairo_surface_destroy(surface); }
  void operator()(cairo_t* cairo) const { cairo_destroy(cairo); }
};
template <typename Object>
using Owned = std::unique_ptr<Object, Release>;

/// Part of the box, in pixels from its upper left.
struct Area {
  int left, top, right, bottom;
  int width() const { return right - left; }
  int height() const { return bottom - top; }
  bool isEmpty() const { return left >= right || top >= bottom; }
};

/// Names that stand for whatever the system has of that kind.
bool isKindOfFont(std::string family) {
  std::transform(family.begin(), family.end(), family.begin(), g_ascii_tolower);
  for (const char* kind : {"sans", "sans-serif", "serif", "monospace", "mono", "cursive", "fantasy",
                           "system-ui", "emoji", "math"})
    if (family == kind) return true;
  return false;
}

std::string trimmed(const std::string& text) {
  const std::size_t first = text.find_first_not_of(' ');
  return first == text.npos ? "" : text.substr(first, text.find_last_not_of(' ') + 1 - first);
}

/// The families that are asked for, in quotation marks; none where one of them is what the font is
/// of, under any of its names, or where anything of a kind will do.
std::string familiesMissed(const char* asked, const FcPattern* found) {
  std::istringstream families(asked ? asked : "");
  std::string missed;
  for (std::string part; std::getline(families, part, ',');) {
    const std::string family = trimmed(part);
    if (family.empty() || isKindOfFont(family)) return {};
    FcChar8* name = nullptr;
    for (int i = 0; FcPatternGetString(found, FC_FAMILY, i, &name) == FcResultMatch; ++i)
      if (FcStrCmpIgnoreCase(name, reinterpret_cast<const FcChar8*>(family.c_str())) == 0)
        return {};
    missed += (missed.empty() ? "\"" : ", \"") + family + "\"";
  }
  return missed;
}

/// What Pango says where no font can be found is the end of the process, so this is asked first.
Owned<PangoFont> fontFor(PangoContext* context, const PangoFontDescription* description) {
  Owned<PangoFont> font(pango_context_load_font(context, description));
  if (!font)
    throw std::runtime_error(
        "no font is installed that text could be set in; Debian's "
        "fonts-dejavu-core is one");
  return font;
}

std::string warningOf(const PangoFontDescription* description, PangoFont* font) {
  if (!PANGO_IS_FC_FONT(font)) return {};
  const FcPattern* found = pango_fc_font_get_pattern(PANGO_FC_FONT(font));
  const std::string missed = familiesMissed(pango_font_description_get_family(description), found);
  FcChar8* instead = nullptr;
  if (missed.empty() || FcPatternGetString(found, FC_FAMILY, 0, &instead) != FcResultMatch)
    return {};
  return "there is no font " + missed + "; " + reinterpret_cast<const char*>(instead) +
         " takes its place";
}

int pangoUnits(double pixels) {
  return static_cast<int>(std::lround(pixels * PANGO_SCALE));
}

PangoAlignment pangoAlignment(Alignment alignment) {
  constexpr PangoAlignment all[] = {PANGO_ALIGN_LEFT, PANGO_ALIGN_CENTER, PANGO_ALIGN_RIGHT};
  return all[static_cast<int>(alignment)];
}

/// Pango's default font map is the thread's own and goes with the thread.
class PangoTypesetter : public Typesetter {
 public:
  PangoTypesetter()
      : _context(pango_font_map_create_context(pango_cairo_font_map_get_default())),
        _layout(pango_layout_new(_context.get())) {
    const Owned<cairo_font_options_t> options(cairo_font_options_create());
    cairo_font_options_set_antialias(options.get(), CAIRO_ANTIALIAS_GRAY);
    cairo_font_options_set_hint_style(options.get(), CAIRO_HINT_STYLE_SLIGHT);
    // A text breaks alike at every size.
    cairo_font_options_set_hint_metrics(options.get(), CAIRO_HINT_METRICS_OFF);
    pango_cairo_context_set_font_options(_context.get(), options.get());
    pango_context_set_round_glyph_positions(_context.get(), FALSE);
    pango_layout_context_changed(_layout.get());
    pango_layout_set_wrap(_layout.get(), PANGO_WRAP_WORD_CHAR);
    pango_layout_set_ellipsize(_layout.get(), PANGO_ELLIPSIZE_END);
  }

  Letters set(const TextSetting& setting) override {
    Letters letters;
    if (setting.width == 0 || setting.height == 0 || !(setting.size >= 1)) return letters;
    layOut(setting, letters.warnings);
    const int top = topOf(setting);
    const Area ink = inkIn(setting, top);
    if (!ink.isEmpty()) draw(setting, ink, top, letters);
    return letters;
  }

 private:
  void layOut(const TextSetting& setting, std::vector<std::string>& warnings) {
    const auto most = static_cast<std::size_t>(longestSetLine / setting.size);
    const PlainText text = plainTextOf(setting.text, most);
    if (text.isCut)
      warnings.push_back("the text is too long to be set; only its first " +
                         std::to_string(text.characters) + " characters are");

    const Owned<PangoFontDescription> font(
        pango_font_description_from_string(setting.font.substr(0, longestFontName).c_str()));
    pango_font_description_set_absolute_size(font.get(), setting.size * PANGO_SCALE);
    const std::string warning = warningOf(font.get(), fontFor(_context.get(), font.get()).get());
    if (!warning.empty()) warnings.push_back(warning);

    pango_layout_set_font_description(_layout.get(), font.get());
    pango_layout_set_alignment(_layout.get(), pangoAlignment(setting.horizontal));
    pango_layout_set_width(_layout.get(), pangoUnits(setting.width));
    pango_layout_set_height(_layout.get(), pangoUnits(setting.height));
    pango_layout_set_text(_layout.get(), text.text.data(), static_cast<int>(text.text.size()));
    const int unknown = pango_layout_get_unknown_glyphs_count(_layout.get());
    if (unknown > 0)
      warnings.push_back("no font that is installed has the letters for a part of the text");
  }

  /// Of the first line, which may stand above the box when there are too many.
  int topOf(const TextSetting& setting) const {
    PangoRectangle logical{};
    pango_layout_get_pixel_extents(_layout.get(), nullptr, &logical);
    const int rest = static_cast<int>(setting.height) - logical.height;
    if (setting.vertical == Alignment::Start) return 0;
    return setting.vertical == Alignment::End ? rest : rest / 2;
  }

  Area inkIn(const TextSetting& setting, int top) const {
    PangoRectangle ink{};
    pango_layout_get_pixel_extents(_layout.get(), &ink, nullptr);
    const auto width = static_cast<int>(setting.width), height = static_cast<int>(setting.height);
    return {std::clamp(ink.x, 0, width), std::clamp(ink.y + top, 0, height),
            std::clamp(ink.x + ink.width, 0, width),
            std::clamp(ink.y + top + ink.height, 0, height)};
  }

  void draw(const TextSetting& setting, const Area& ink, int top, Letters& letters) {
    const Owned<cairo_surface_t> surface(
        cairo_image_surface_create(CAIRO_FORMAT_ARGB32, ink.width(), ink.height()));
    const Owned<cairo_t> cairo(cairo_create(surface.get()));
    const auto& [r, g, b, a] = setting.color;
    cairo_set_source_rgba(cairo.get(), r, g, b, a);
    cairo_move_to(cairo.get(), -ink.left, top - ink.top);
    pango_cairo_show_layout(cairo.get(), _layout.get());
    cairo_surface_flush(surface.get());
    if (const cairo_status_t status = cairo_status(cairo.get()); status != CAIRO_STATUS_SUCCESS)
      throw std::runtime_error(std::string("the text can't be drawn: ") +
                               cairo_status_to_string(status));
    letters.left = static_cast<std::uint32_t>(ink.left);
    letters.bottom = setting.height - static_cast<std::uint32_t>(ink.bottom);
    letters.width = static_cast<std::uint32_t>(ink.width());
    letters.height = static_cast<std::uint32_t>(ink.height());
    letters.pixels = pixelsOf(surface.get());
  }

  /// Cairo has its uppermost row first, and a pixel in one number.
  static std::vector<std::uint8_t> pixelsOf(cairo_surface_t* surface) {
    const auto width = static_cast<std::size_t>(cairo_image_surface_get_width(surface));
    const auto height = static_cast<std::size_t>(cairo_image_surface_get_height(surface));
    const auto stride = static_cast<std::size_t>(cairo_image_surface_get_stride(surface));
    const unsigned char* rows = cairo_image_surface_get_data(surface);
    std::vector<std::uint8_t> pixels(width * height * 4);
    std::uint8_t* to = pixels.data();
    for (std::size_t y = height; y-- > 0;) {
      const auto* row = reinterpret_cast<const std::uint32_t*>(rows + y * stride);
      for (std::size_t x = 0; x < width; ++x, to += 4) {
        to[0] = static_cast<std::uint8_t>(row[x] >> 16);
        to[1] = static_cast<std::uint8_t>(row[x] >> 8);
        to[2] = static_cast<std::uint8_t>(row[x]);
        to[3] = static_cast<std::uint8_t>(row[x] >> 24);
      }
    }
    return pixels;
  }

  const Owned<PangoContext> _context;
  const Owned<PangoLayout> _layout;
};

}  // namespace
}  // namespace vuo

extern "C" BRANNOW_RUNTIME vuo::Typesetter* vuoMakeTypesetter1() {
  return new vuo::PangoTypesetter;
}
static_assert(std::is_same_v<decltype(&vuoMakeTypesetter1), vuo::TypesetterEntry>);
