#include "platform/NSExtension.h"

#include <array>

namespace korvane {

bool UTTypeConformsTo(std::string_view type, std::string_view conformsToType) {
  struct Conformance {
    std::string_view type, base;
  };
  static constexpr std::array kConformances{
      Conformance{"public.file-url", "public.url"},
      Conformance{"public.png", "public.image"},
      Conformance{"public.jpeg", "public.image"},
      Conformance{"public.tiff", "public.image"},
      Conformance{"com.compuserve.gif", "public.image"},
      Conformance{"org.webmproject.webp", "public.image"},
      Conformance{"public.heic", "public.image"},
      Conformance{"com.microsoft.bmp", "public.image"},
      Conformance{"public.svg-image", "public.image"},
      Conformance{"public.html", "public.text"},
      Conformance{"public.plain-text", "public.text"},
  };
  if (type == conformsToType) return true;
  for (const Conformance& conformance : kConformances) {
    if (conformance.type == type && conformance.base == conformsToType) return true;
  }
  return false;
}

}  // namespace korvane
