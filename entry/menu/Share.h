#pragma once

// What the menu entries of all file managers have in common. A file manager loads this into its own
// process: nothing here waits, and nothing here ends the process, whatever fails.

#include <glib.h>

G_BEGIN_DECLS

/// An entry as a file manager shows it. All texts are the entry's own.
typedef struct {
  char* label;  ///< In the person's language.
  char* tip;    ///< What the entry does, in the person's language; may be empty.
  char** uris;  ///< What it shares, ended by NULL.
} KorvaneEntry;

/// What ends this edition's names; two editions may be in one file manager.
#ifndef KORVANE_SUFFIX
#define KORVANE_SUFFIX ""
#endif

/// The identifier of the entry and its icon's name, for the file manager.
#define KORVANE_ENTRY_NAME "KorvaneShare" KORVANE_SUFFIX "::send"
#define KORVANE_ENTRY_ICON "korvane-share" KORVANE_SUFFIX

/// The entry for the chosen files, given as their URIs, which become the entry's. NULL where none
/// is to be shown: nothing is chosen, something in the trash or one of the desktop's own places is,
/// or the program is not installed.
KorvaneEntry* korvane_entry_new(GPtrArray* uris);

/// Hands what is chosen to the program. Returns once it is started; a failure is shown as a
/// notification. The program may come to the front, with the token of the file manager's display.
void korvane_entry_activate(const KorvaneEntry* entry);

void korvane_entry_free(KorvaneEntry* entry);

G_END_DECLS
