// The module of Thunar. It makes one message of folders and files, where Thunar runs an entry of
// its "Send To" menu once for the folders and once for the files.

#include <thunarx/thunarx.h>

#include "entry/menu/Share.h"

static GType provider_type;

static void on_activate(gpointer item, gpointer entry) {
  (void)item;
  korvane_entry_activate(entry);
}

static void on_release(gpointer entry, GClosure* closure) {
  (void)closure;
  korvane_entry_free(entry);
}

static GList* file_items(ThunarxMenuProvider* provider, GtkWidget* window, GList* files) {
  (void)provider;
  (void)window;
  GPtrArray* uris = g_ptr_array_new();
  for (GList* file = files; file; file = file->next) {
    g_ptr_array_add(uris, thunarx_file_info_get_uri(file->data));
  }
  KorvaneEntry* entry = korvane_entry_new(uris);
  if (!entry) return NULL;
  ThunarxMenuItem* item =
      thunarx_menu_item_new(KORVANE_ENTRY_NAME, entry->label, entry->tip, KORVANE_ENTRY_ICON);
  g_signal_connect_data(item, "activate", G_CALLBACK(on_activate), entry, on_release, 0);
  return g_list_append(NULL, item);
}

static void fill_interface(gpointer interface, gpointer data) {
  (void)data;
  ((ThunarxMenuProviderIface*)interface)->get_file_menu_items = file_items;
}

// What Thunar looks for in a module.

G_MODULE_EXPORT void thunar_extension_initialize(ThunarxProviderPlugin* plugin) {
  static const GTypeInfo kType = {.class_size = sizeof(GObjectClass),
                                  .instance_size = sizeof(GObject)};
  static const GInterfaceInfo kInterface = {fill_interface, NULL, NULL};
  provider_type =
      thunarx_provider_plugin_register_type(plugin, G_TYPE_OBJECT, KORVANE_MENU_TYPE, &kType, 0);
  thunarx_provider_plugin_add_interface(plugin, provider_type, THUNARX_TYPE_MENU_PROVIDER,
                                        &kInterface);
}

G_MODULE_EXPORT void thunar_extension_shutdown(void) {}

G_MODULE_EXPORT void thunar_extension_list_types(const GType** types, int* count) {
  *types = &provider_type;
  *count = 1;
}
