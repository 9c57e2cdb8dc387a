#include <glib.h>
#include <pango/pangocairo.h>

#include <cmath>
#include <memory>
#include <string>

#include "values/text/QWStringAdditions.h"

namespace QWStringAdditions {

namespace {

template <class T, void (*Free)(T*)>
struct Freed {
  void operator()(T* t) const { Free(t); }
};
void unref(PangoContext* context) { g_object_unref(context); }
void unref(PangoLayout* layout) { g_object_unref(layout); }
void release(char* text) { g_free(text); }

template <class T, void (*Free)(T*)>
using Owned = std::unique_ptr<T, Freed<T, Free>>;

}  // namespace

qw::Size singleLineSizeWithFont(std::string_view text, std::string_view font) {
  if (text.size() > kMaxMeasuredSize) return {};
  constexpr double kPointsPerInch = 72;  // one unit of the layout is a point then
  const Owned<PangoContext, unref> context(pango_font_map_create_context(pango_cairo_font_map_get_default()));
  pango_cairo_context_set_resolution(context.get(), kPointsPerInch);
  const Owned<PangoLayout, unref> layout(pango_layout_new(context.get()));
  const Owned<PangoFontDescription, pango_font_description_free> description(
      pango_font_description_from_string(std::string(font).c_str()));
  pango_layout_set_font_description(layout.get(), description.get());
  pango_layout_set_single_paragraph_mode(layout.get(), 1);
  const Owned<char, release> valid(g_utf8_make_valid(text.data(), static_cast<gssize>(text.size())));
  for (char* c = valid.get(); *c; ++c) {
    if (*c > 0 && *c < ' ') *c = ' ';  // a line break and its like, which would show as signs of other fonts
  }
  pango_layout_set_text(layout.get(), valid.get(), -1);
  PangoRectangle logical;
  pango_layout_get_extents(layout.get(), nullptr, &logical);
  return {std::ceil(static_cast<double>(logical.width) / PANGO_SCALE),
          std::ceil(static_cast<double>(logical.height) / PANGO_SCALE)};
}

}  // namespace QWStringAdditions
