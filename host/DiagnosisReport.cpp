#include "host/Diagnosis.h"
#include "host/Edition.h"
#include "host/JSONWriter.h"
#include "text/PrintableText.h"

namespace korvane {
namespace {

constexpr const char* kRoads[] = {"none", "running", "startedByBus", "startedByEntry"};

/// The rights as people know them: "700".
std::string octal(unsigned rights) {
  std::string text;
  for (int shift = 6; shift >= 0; shift -= 3) {
    text += static_cast<char>('0' + (rights >> shift & 7U));
  }
  return text;
}

std::string containerLine(const Diagnosis::Container& container) {
  if (container.path.empty()) return "there is no home folder, so there is no place for one";
  if (!container.exists) {
    return container.path + (container.isWritable ? ", which the mail client or a share makes"
                                                  : ", which is not there and cannot be made");
  }
  return container.path + " (rights " + octal(container.rights) +
         (container.isOwn ? "" : ", another user's") +
         (container.isWritable ? ")" : ", cannot be written)");
}

std::string clientLine(const Diagnosis& diagnosis) {
  switch (diagnosis.client.road) {
    case Diagnosis::Road::running:
      return "it runs and is asked over the session bus";
    case Diagnosis::Road::startedByBus:
      return "the session bus starts it";
    case Diagnosis::Road::startedByEntry:
      return "the program of its desktop entry is run";
    case Diagnosis::Road::none:
      break;
  }
  return "it is not installed";
}

std::string listed(const std::vector<std::string>& texts) {
  std::string list;
  for (const std::string& text : texts) list += (list.empty() ? "" : ", ") + text;
  return list.empty() ? "none" : list;
}

}  // namespace

std::string diagnosisText(const Diagnosis& diagnosis) {
  std::string text = ownName("korvane-share") + ' ' + diagnosis.version + '\n';
  const auto add = [&text](std::string_view name, const std::string& value) {
    text.append(name).append(": ").append(printableText(value, LineBreaks::show)).append("\n");
  };
  const auto there = [](bool is) { return std::string(is ? "there" : "not there"); };
  const auto orUnknown = [](const std::string& value) {
    return value.empty() ? std::string("not told") : value;
  };
  add("extension",
      diagnosis.extension.empty() ? "its info dictionary is missing" : diagnosis.extension);
  add("container", containerLine(diagnosis.container));
  add("mail client", diagnosis.application + ": " + clientLine(diagnosis));
  if (!diagnosis.client.entry.empty()) add("its desktop entry", diagnosis.client.entry);
  if (diagnosis.client.mailProgram) add("mail program", *diagnosis.client.mailProgram);
  if (!diagnosis.client.why.empty()) add("mail program", diagnosis.client.why);
  for (const auto& [name, path] : diagnosis.entries) {
    add(std::string("entry, ").append(name), path.empty() ? "not installed" : path);
  }
  add("session", orUnknown(diagnosis.session.type));
  add("desktop", orUnknown(diagnosis.session.desktop));
  add("session bus", there(diagnosis.session.hasBus));
  add("portals", there(diagnosis.session.hasPortal));
  add("notifications", there(diagnosis.session.hasNotifications));
  add("picture formats", listed(diagnosis.pictureFormats));
  add("kernel", orUnknown(diagnosis.confinement.kernel));
  add("Landlock", diagnosis.confinement.landlock > 0
                      ? "version " + std::to_string(diagnosis.confinement.landlock)
                      : "not there");
  add("seccomp", there(diagnosis.confinement.seccomp));
  return text;
}

std::string diagnosisJSON(const Diagnosis& diagnosis) {
  return outputOf([&](Output& output) {
    JSONWriter json(output);
    const auto textOrNull = [&json](std::string_view key, const std::string& value) {
      json.key(key).textOrNull(value.empty() ? std::nullopt : std::optional(value));
    };
    json.beginObject().key("version").text(diagnosis.version);
    textOrNull("extension", diagnosis.extension);
    textOrNull("application", diagnosis.application);
    json.key("container").beginObject();
    textOrNull("path", diagnosis.container.path);
    json.key("exists").boolean(diagnosis.container.exists);
    json.key("own").boolean(diagnosis.container.isOwn);
    json.key("writable").boolean(diagnosis.container.isWritable);
    json.key("rights").textOrNull(diagnosis.container.exists
                                      ? std::optional(octal(diagnosis.container.rights))
                                      : std::nullopt);
    json.endObject();
    json.key("client").beginObject();
    json.key("road").text(kRoads[static_cast<int>(diagnosis.client.road)]);
    textOrNull("entry", diagnosis.client.entry);
    json.key("mailProgram").textOrNull(diagnosis.client.mailProgram);
    textOrNull("why", diagnosis.client.why);
    json.endObject();
    json.key("entries").beginObject();
    for (const auto& [name, path] : diagnosis.entries) textOrNull(name, path);
    json.endObject();
    json.key("session").beginObject();
    textOrNull("type", diagnosis.session.type);
    textOrNull("desktop", diagnosis.session.desktop);
    json.key("bus").boolean(diagnosis.session.hasBus);
    json.key("portal").boolean(diagnosis.session.hasPortal);
    json.key("notifications").boolean(diagnosis.session.hasNotifications);
    json.endObject();
    json.key("pictureFormats").beginList();
    for (const std::string& format : diagnosis.pictureFormats) json.text(format);
    json.endList();
    json.key("confinement").beginObject();
    textOrNull("kernel", diagnosis.confinement.kernel);
    json.key("landlock").number(diagnosis.confinement.landlock);
    json.key("seccomp").boolean(diagnosis.confinement.seccomp);
    json.endObject();
    json.endObject();
    output << "\n";
  });
}

}  // namespace korvane
