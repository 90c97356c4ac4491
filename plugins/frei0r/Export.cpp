#include "plugins/frei0r/Export.h"

#include <glib.h>

#include <memory>

namespace frei0r {
namespace {

constexpr guint32 version = 1;
constexpr const char* format = "(uba(ayay))";

struct Unref {
  void operator()(GVariant* variant) const { g_variant_unref(variant); }
};
using Variant = std::unique_ptr<GVariant, Unref>;

GVariant* arrayOf(std::string_view text) {
  return g_variant_new_fixed_array(G_VARIANT_TYPE_BYTE, text.data(), text.size(), 1);
}

std::string textOf(GVariant* tuple, gsize index) {
  const Variant child(g_variant_get_child_value(tuple, index));
  gsize size = 0;
  const auto* data = static_cast<const char*>(g_variant_get_fixed_array(child.get(), &size, 1));
  return size > 0 ? std::string(data, size) : std::string();
}

}  // namespace

std::string bytesFromExport(const Export& contents) {
  GVariantBuilder files;
  g_variant_builder_init(&files, G_VARIANT_TYPE("a(ayay)"));
  for (const auto& file : contents.files)
    g_variant_builder_add(&files, "(@ay@ay)", arrayOf(file.name), arrayOf(file.contents));
  const Variant all(
      g_variant_ref_sink(g_variant_new(format, version, gboolean{contents.inProcess}, &files)));
  return {static_cast<const char*>(g_variant_get_data(all.get())), g_variant_get_size(all.get())};
}

std::optional<Export> exportFromBytes(std::string_view bytes) {
  const std::unique_ptr<GBytes, decltype(&g_bytes_unref)> copy(
      g_bytes_new(bytes.data(), bytes.size()), g_bytes_unref);
  const Variant all(
      g_variant_ref_sink(g_variant_new_from_bytes(G_VARIANT_TYPE(format), copy.get(), FALSE)));
  if (!g_variant_is_normal_form(all.get())) return std::nullopt;
  guint32 found = 0;
  gboolean inProcess = FALSE;
  GVariant* list = nullptr;
  g_variant_get(all.get(), "(ub@a(ayay))", &found, &inProcess, &list);
  const Variant files(list);
  if (found != version || g_variant_n_children(files.get()) == 0) return std::nullopt;
  Export result{inProcess != FALSE, {}};
  for (gsize i = 0; i < g_variant_n_children(files.get()); ++i) {
    const Variant file(g_variant_get_child_value(files.get(), i));
    result.files.push_back({textOf(file.get(), 0), textOf(file.get(), 1)});
  }
  return result;
}

}  // namespace frei0r
