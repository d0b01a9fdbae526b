#pragma once

// Owners of what GLib allocates. For sources only: it names GLib's types.

#include <gio/gio.h>

#include <memory>
#include <string>

namespace korvane {

struct GLibDelete {
  void operator()(char* text) const { g_free(text); }
  void operator()(GKeyFile* file) const { g_key_file_unref(file); }
  void operator()(GVariant* variant) const { g_variant_unref(variant); }
};
template <class T>
using GPointer = std::unique_ptr<T, GLibDelete>;

struct GObjectUnref {
  void operator()(gpointer object) const { g_object_unref(object); }
};
template <class T>
using GObjectPointer = std::unique_ptr<T, GObjectUnref>;

/// Takes the error of one call.
class GErrorSlot {
 public:
  GErrorSlot() = default;
  GErrorSlot(const GErrorSlot&) = delete;
  GErrorSlot& operator=(const GErrorSlot&) = delete;
  ~GErrorSlot() { g_clear_error(&error_); }

  GError** out() { return &error_; }
  bool isOf(GQuark domain) const { return error_ && error_->domain == domain; }
  bool is(GQuark domain, int code) const { return g_error_matches(error_, domain, code) != FALSE; }
  std::string message() const { return error_ ? error_->message : ""; }

 private:
  GError* error_ = nullptr;
};

}  // namespace korvane
