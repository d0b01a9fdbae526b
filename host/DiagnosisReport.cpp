#include "host/Diagnosis.h"
#include "host/Edition.h"
#include "host/JSONWriter.h"
#include "platform/detail/Translation.h"
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
  if (container.path.empty()) return translated("no home folder was found");
  if (!container.exists) {
    return container.isWritable ? translated("{0}, which is made when it is needed", container.path)
                                : translated("{0}, which cannot be made", container.path);
  }
  std::string line = translated("{0}, rights {1}", container.path, octal(container.rights));
  if (!container.isOwn) line += ", " + translated("another user's");
  if (!container.isWritable) line += ", " + translated("cannot be written");
  return line;
}

std::string clientLine(const Diagnosis& diagnosis) {
  const std::string& name = diagnosis.application;
  switch (diagnosis.client.road) {
    case Diagnosis::Road::running:
      return translated("{0} runs and is asked over the session bus", name);
    case Diagnosis::Road::startedByBus:
      return translated("{0} is started by the session bus", name);
    case Diagnosis::Road::startedByEntry:
      return translated("{0} is started by its desktop entry", name);
    case Diagnosis::Road::none:
      break;
  }
  return translated("{0} is not installed", name);
}

std::string listed(const std::vector<std::string>& texts) {
  std::string list;
  for (const std::string& text : texts) list += (list.empty() ? "" : ", ") + text;
  return list.empty() ? translated("none") : list;
}

/// The names of the entries that are no programs' names.
std::string nameOfEntry(std::string_view name) {
  return name == "application" ? translated("application") : std::string(name);
}

}  // namespace

std::string diagnosisText(const Diagnosis& diagnosis) {
  std::string text = ownName("korvane-share") + ' ' + diagnosis.version + '\n';
  const auto add = [&text](std::string_view name, const std::string& value) {
    text.append(name).append(": ").append(printableText(value, LineBreaks::show)).append("\n");
  };
  const auto there = [](bool is) { return is ? translated("there") : translated("not there"); };
  const auto orUnknown = [](const std::string& value) {
    return value.empty() ? translated("not told") : value;
  };
  add(translated("extension"), diagnosis.extension.empty()
                                   ? translated("its info dictionary is missing")
                                   : diagnosis.extension);
  add(translated("container"), containerLine(diagnosis.container));
  add(translated("mail client"), clientLine(diagnosis));
  if (!diagnosis.client.entry.empty()) {
    add(translated("its desktop entry"), diagnosis.client.entry);
  }
  if (diagnosis.client.mailProgram) add(translated("mail program"), *diagnosis.client.mailProgram);
  if (!diagnosis.client.why.empty()) add(translated("mail program"), diagnosis.client.why);
  for (const auto& [name, path] : diagnosis.entries) {
    add(translated("entry, {0}", nameOfEntry(name)),
        path.empty() ? translated("not installed") : path);
  }
  add(translated("session"), orUnknown(diagnosis.session.type));
  add(translated("desktop"), orUnknown(diagnosis.session.desktop));
  add(translated("session bus"), there(diagnosis.session.hasBus));
  add(translated("portals"), there(diagnosis.session.hasPortal));
  add(translated("notifications"), there(diagnosis.session.hasNotifications));
  add(translated("picture formats"), listed(diagnosis.pictureFormats));
  add(translated("kernel"), orUnknown(diagnosis.confinement.kernel));
  add("Landlock", diagnosis.confinement.landlock > 0
                      ? translated("version {0}", std::to_string(diagnosis.confinement.landlock))
                      : translated("not there"));
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
