#include "entry/menu/Share.h"

#include <dlfcn.h>
#include <gio/gdesktopappinfo.h>
#include <gio/gio.h>
#include <string.h>
#include <sys/mman.h>
#include <unistd.h>

// What the names of a selection may be together as arguments of a program. Linux takes two MiB,
// with the environment.
#define MAX_ARGUMENTS (1 << 20)

static const char kApplication[] = "korvane-share" KORVANE_SUFFIX ".desktop";

/// The application, NULL where it is not installed or the person has taken it away.
static GDesktopAppInfo* find_application(void) {
  GDesktopAppInfo* application = g_desktop_app_info_new(kApplication);
  if (application && g_desktop_app_info_get_is_hidden(application)) g_clear_object(&application);
  return application;
}

/// Whether the URI is that of a file or folder, here or elsewhere. What is in the trash is about to
/// go, and the desktop's own places are not files.
static gboolean is_file(const char* uri) {
  static const char* const kNoFiles[] = {
      "trash",          "computer",       "network",           "burn",
      "x-caja-desktop", "x-nemo-desktop", "x-nautilus-desktop"};
  char* scheme = g_uri_parse_scheme(uri);
  gboolean found = scheme != NULL;
  for (gsize i = 0; found && i < G_N_ELEMENTS(kNoFiles); ++i) {
    found = g_ascii_strcasecmp(scheme, kNoFiles[i]) != 0;
  }
  g_free(scheme);
  return found;
}

KorvaneEntry* korvane_entry_new(GPtrArray* uris) {
  gboolean shareable = uris->len > 0;
  for (guint i = 0; shareable && i < uris->len; ++i) {
    shareable = g_ptr_array_index(uris, i) && is_file(g_ptr_array_index(uris, i));
  }
  GDesktopAppInfo* application = shareable ? find_application() : NULL;
  g_ptr_array_add(uris, NULL);
  char** texts = (char**)g_ptr_array_free(uris, FALSE);
  if (!application) {
    g_strfreev(texts);
    return NULL;
  }
  // The application's entry has its texts in all languages.
  const char* tip = g_app_info_get_description(G_APP_INFO(application));
  KorvaneEntry* entry = g_new0(KorvaneEntry, 1);
  entry->label = g_strdup(g_app_info_get_name(G_APP_INFO(application)));
  entry->tip = g_strdup(tip ? tip : "");
  entry->uris = texts;
  g_object_unref(application);
  return entry;
}

/// The launch context of the file manager's display, from which the program gets its token. GTK 3
/// and GTK 4 have it under the same name; this links neither. A plain context without a display.
static GAppLaunchContext* launch_context(void) {
  void* (*default_display)(void) = NULL;
  void* (*context_of)(void*) = NULL;
  *(void**)&default_display = dlsym(RTLD_DEFAULT, "gdk_display_get_default");
  *(void**)&context_of = dlsym(RTLD_DEFAULT, "gdk_display_get_app_launch_context");
  void* display = default_display && context_of ? default_display() : NULL;
  return display ? context_of(display) : g_app_launch_context_new();
}

static gsize size_as_arguments(char* const* uris) {
  gsize size = 0;
  for (; *uris; ++uris) size += strlen(*uris) + 1 + sizeof(char*);
  return size;
}

/// A file without a name that holds a share request for the URIs, to be read from its beginning; -1
/// where that fails.
static int request_for(char* const* uris) {
  GString* json = g_string_new("{\"items\":[{\"attachments\":[");
  for (char* const* uri = uris; *uri; ++uri) {
    g_string_append(json, uri == uris ? "{\"url\":\"" : ",{\"url\":\"");
    for (const char* c = *uri; *c; ++c) {
      if (*c == '"' || *c == '\\' || (guchar)*c < ' ') {
        g_string_append_printf(json, "\\u%04x", (guchar)*c);
      } else {
        g_string_append_c(json, *c);
      }
    }
    g_string_append(json, "\"}");
  }
  g_string_append(json, "]}]}");
  int file = memfd_create("korvane-share", MFD_CLOEXEC);
  gsize done = 0;
  while (file >= 0 && done < json->len) {
    gssize count = write(file, json->str + done, json->len - done);
    if (count <= 0) {
      close(file);
      file = -1;
    } else {
      done += (gsize)count;
    }
  }
  if (file >= 0) lseek(file, 0, SEEK_SET);
  g_string_free(json, TRUE);
  return file;
}

/// Starts the program with a request for the URIs on its standard input, for those that are too
/// many for its arguments.
static void launch_with_request(GDesktopAppInfo* application, char* const* uris,
                                GAppLaunchContext* context, GError** error) {
  int file = request_for(uris);
  if (file < 0) {
    g_set_error(error, G_IO_ERROR, G_IO_ERROR_FAILED, "The selection cannot be handed over");
    return;
  }
  char* program = g_shell_quote(g_app_info_get_executable(G_APP_INFO(application)));
  char* command = g_strconcat(program, " --request -", NULL);
  GAppInfo* launched =
      g_app_info_create_from_commandline(command, g_app_info_get_name(G_APP_INFO(application)),
                                         G_APP_INFO_CREATE_SUPPORTS_STARTUP_NOTIFICATION, error);
  if (launched) {
    g_desktop_app_info_launch_uris_as_manager_with_fds(G_DESKTOP_APP_INFO(launched), NULL, context,
                                                       G_SPAWN_SEARCH_PATH, NULL, NULL, NULL, NULL,
                                                       file, -1, -1, error);
    g_object_unref(launched);
  }
  g_free(command);
  g_free(program);
  close(file);
}

static void launch_with_arguments(GDesktopAppInfo* application, char* const* uris,
                                  GAppLaunchContext* context, GError** error) {
  GList* list = NULL;
  for (; *uris; ++uris) list = g_list_prepend(list, *uris);
  list = g_list_reverse(list);
  g_app_info_launch_uris(G_APP_INFO(application), list, context, error);
  g_list_free(list);
}

/// Sends the notification whose texts `data` holds, as soon as the session bus is there.
static void notify(GObject* source, GAsyncResult* result, gpointer data) {
  (void)source;
  char** texts = data;
  GDBusConnection* bus = g_bus_get_finish(result, NULL);
  if (bus) {
    g_dbus_connection_call(bus, "org.freedesktop.Notifications", "/org/freedesktop/Notifications",
                           "org.freedesktop.Notifications", "Notify",
                           g_variant_new("(susssasa{sv}i)", texts[0], 0, KORVANE_ENTRY_ICON,
                                         texts[0], texts[1], NULL, NULL, -1),
                           NULL, G_DBUS_CALL_FLAGS_NONE, -1, NULL, NULL, NULL);
    g_object_unref(bus);
  }
  g_strfreev(texts);
}

void korvane_entry_activate(const KorvaneEntry* entry) {
  GError* error = NULL;
  GDesktopAppInfo* application = find_application();
  if (application) {
    GAppLaunchContext* context = launch_context();
    gboolean fits = size_as_arguments(entry->uris) <= MAX_ARGUMENTS;
    (fits ? launch_with_arguments : launch_with_request)(application, entry->uris, context, &error);
    g_object_unref(context);
    g_object_unref(application);
  } else {
    g_set_error(&error, G_IO_ERROR, G_IO_ERROR_NOT_FOUND, "korvane-share is not installed");
  }
  if (!error) return;
  // A message, for a warning may be set to end the process.
  g_message("korvane-share: %s", error->message);
  char** texts = g_new0(char*, 3);
  texts[0] = g_strdup(entry->label);
  texts[1] = g_strdup(error->message);
  g_bus_get(G_BUS_TYPE_SESSION, NULL, notify, texts);
  g_error_free(error);
}

void korvane_entry_free(KorvaneEntry* entry) {
  g_free(entry->label);
  g_free(entry->tip);
  g_strfreev(entry->uris);
  g_free(entry);
}
