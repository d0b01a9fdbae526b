// The module of Nautilus, Caja and Nemo, whose interfaces are one but for their prefix.

#include "entry/menu/Share.h"

#if defined KORVANE_NAUTILUS
#include <nautilus-extension.h>
#define FUNCTION(name) nautilus_##name
#define TYPE(name) Nautilus##name
#define PROVIDER NAUTILUS_TYPE_MENU_PROVIDER
#define PROVIDER_INTERFACE NautilusMenuProviderInterface
#elif defined KORVANE_CAJA
#include <libcaja-extension/caja-file-info.h>
#include <libcaja-extension/caja-menu-item.h>
#include <libcaja-extension/caja-menu-provider.h>
#define FUNCTION(name) caja_##name
#define TYPE(name) Caja##name
#define PROVIDER CAJA_TYPE_MENU_PROVIDER
#define PROVIDER_INTERFACE CajaMenuProviderIface
#elif defined KORVANE_NEMO
#include <libnemo-extension/nemo-file-info.h>
#include <libnemo-extension/nemo-menu-item.h>
#include <libnemo-extension/nemo-menu-provider.h>
#define FUNCTION(name) nemo_##name
#define TYPE(name) Nemo##name
#define PROVIDER NEMO_TYPE_MENU_PROVIDER
#define PROVIDER_INTERFACE NemoMenuProviderIface
#endif

static GType provider_type;

static void on_activate(gpointer item, gpointer entry) {
  (void)item;
  korvane_entry_activate(entry);
}

static void on_release(gpointer entry, GClosure* closure) {
  (void)closure;
  korvane_entry_free(entry);
}

static GList* file_items(TYPE(MenuProvider) * provider,
#ifndef KORVANE_NAUTILUS
                         GtkWidget* window,
#endif
                         GList* files) {
  (void)provider;
#ifndef KORVANE_NAUTILUS
  (void)window;
#endif
  GPtrArray* uris = g_ptr_array_new();
  for (GList* file = files; file; file = file->next) {
    g_ptr_array_add(uris, FUNCTION(file_info_get_uri)(file->data));
  }
  KorvaneEntry* entry = korvane_entry_new(uris);
  if (!entry) return NULL;
  TYPE(MenuItem)* item =
      FUNCTION(menu_item_new)(KORVANE_ENTRY_NAME, entry->label, entry->tip, KORVANE_ENTRY_ICON);
  g_signal_connect_data(item, "activate", G_CALLBACK(on_activate), entry, on_release, 0);
  return g_list_append(NULL, item);
}

static void fill_interface(gpointer interface, gpointer data) {
  (void)data;
  ((PROVIDER_INTERFACE*)interface)->get_file_items = file_items;
}

// What the file manager looks for in a module.

G_MODULE_EXPORT void FUNCTION(module_initialize)(GTypeModule* module) {
  static const GTypeInfo kType = {.class_size = sizeof(GObjectClass),
                                  .instance_size = sizeof(GObject)};
  static const GInterfaceInfo kInterface = {fill_interface, NULL, NULL};
  provider_type = g_type_module_register_type(module, G_TYPE_OBJECT, KORVANE_MENU_TYPE, &kType, 0);
  g_type_module_add_interface(module, provider_type, PROVIDER, &kInterface);
}

G_MODULE_EXPORT void FUNCTION(module_shutdown)(void) {}

G_MODULE_EXPORT void FUNCTION(module_list_types)(const GType** types, int* count) {
  *types = &provider_type;
  *count = 1;
}
