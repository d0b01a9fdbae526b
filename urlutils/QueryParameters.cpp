#include <cstddef>
#include <utility>
#include <vector>

#include "platform/NSException.h"
#include "platform/NSString.h"
#include "text/PercentEscapes.h"
#include "urlutils/RequestUtils.h"
#include "urlutils/detail/QueryStrings.h"

// Queries as dictionaries: writing, reading and merging their parameters.
namespace korvane::RequestUtils {
namespace {

URLQueryFlags modeOf(URLQueryFlags options, URLQueryFlags whenDefault) {
  const URLQueryFlags mode = options & 7;
  return mode == URLQueryModeDefault ? whenDefault : mode;
}

class Writer {
 public:
  explicit Writer(URLQueryFlags options)
      : mode_(modeOf(options, URLQueryModeCollect)),
        brackets_((options & URLQueryBracketSyntax) != 0) {}

  void write(std::string_view key, const Value& value) {
    encodedKey_.clear();
    appendPercentEncoded(encodedKey_, key);
    if (!value.isList()) {
      writePair(value, brackets_ && mode_ == URLQueryModeAlwaysList);
      return;
    }
    const List& list = value.list();
    // Refused also where it would not be written: nothing is left out silently.
    for (const Value& element : list) static_cast<void>(element.text());
    if (mode_ == URLQueryModeKeepFirst && !list.empty()) {
      writePair(list.front(), false);
    } else if (mode_ == URLQueryModeKeepLast && !list.empty()) {
      writePair(list.back(), false);
    } else {
      for (const Value& element : list) writePair(element, brackets_);
    }
  }

  std::string takeQuery() { return std::move(query_); }

 private:
  void writePair(const Value& value, bool brackets) {
    const std::string_view text = value.text();
    if (!query_.empty()) query_ += '&';
    query_ += encodedKey_;
    query_ += brackets ? "[]=" : "=";
    appendPercentEncoded(query_, text);
  }

  URLQueryFlags mode_;
  bool brackets_;
  std::string encodedKey_;
  std::string query_;
};

// A key and what was read for it so far. The values are gathered here and not in the dictionary,
// whose lists would have to be copied for each value added.
struct Parameter {
  Value key;
  bool list = false;
  List values;  // one where `list` is not set
};

class Reader {
 public:
  explicit Reader(URLQueryFlags options) : mode_(modeOf(options, URLQueryModeKeepLast)) {}

  void read(std::string_view query) {
    for (bool last = false; !last;) {
      const std::size_t end = query.find('&');
      last = end == std::string_view::npos;
      readPiece(query.substr(0, end));
      if (!last) query.remove_prefix(end + 1);
    }
  }

  Dictionary takeParameters() {
    Dictionary result;
    for (Parameter& parameter : parameters_) {
      Value value = parameter.list ? Value(std::move(parameter.values)) : parameter.values.front();
      result.setSharingKey(std::move(parameter.key), std::move(value));
    }
    return result;
  }

 private:
  void readPiece(std::string_view piece) {
    ++pieces_;
    const std::size_t equals = piece.find('=');
    if (equals == std::string_view::npos) return;
    if (!assignByReplacingPercentEscapes(key_, piece.substr(0, equals), true)) raise("key");
    const bool listKey = key_.ends_with("[]");
    if (listKey) key_.resize(key_.size() - 2);

    Parameter& parameter = parameterOf(key_);
    const bool isNew = parameter.values.empty();
    if (!isNew && !parameter.list && mode_ == URLQueryModeKeepFirst) return;

    piece.remove_prefix(equals + 1);
    if (!assignByReplacingPercentEscapes(value_, piece.substr(0, piece.find('=')), true))
      raise("value");
    if (isNew) {
      parameter.list = mode_ == URLQueryModeAlwaysList || (listKey && mode_ == URLQueryModeCollect);
    } else if (!parameter.list && mode_ == URLQueryModeKeepLast) {
      parameter.values.clear();
    } else {
      parameter.list = true;
    }
    parameter.values.emplace_back(value_);
  }

  Parameter& parameterOf(std::string_view key) {
    if (const Value* known = positions_.find(key)) {
      return parameters_[static_cast<std::size_t>(known->integerValue())];
    }
    const Value shared(key);
    positions_.setSharingKey(shared, parameters_.size());
    parameters_.push_back({shared, false, {}});
    return parameters_.back();
  }

  // The reason may end up in a log, so it shows nothing of the query.
  [[noreturn]] void raise(const char* what) const {
    throw NSException(UndecodableException, std::string("the ") + what + " of pair " +
                                                std::to_string(pieces_) +
                                                " of a query does not decode");
  }

  URLQueryFlags mode_;
  std::vector<Parameter> parameters_;
  Dictionary positions_;  // of the keys in parameters_
  std::string key_, value_;
  std::size_t pieces_ = 0;  // read so far
};

// What the merged query holds for a key that both queries have.
Value mergedValue(const Value& old, const Value& incoming, URLQueryFlags mode) {
  if (!old.isList() && !incoming.isList()) {
    if (mode == URLQueryModeKeepFirst) return old;
    if (mode != URLQueryModeCollect && mode != URLQueryModeAlwaysList) return incoming;
  }
  List list;
  for (const Value& value : {old, incoming}) {
    if (value.isList()) {
      list.insert(list.end(), value.list().begin(), value.list().end());
    } else {
      list.push_back(value);
    }
  }
  return Value(std::move(list));
}

}  // namespace

std::string URLQueryWithParameters(const Dictionary& parameters, URLQueryFlags options) {
  Writer writer(options);
  for (const auto& [key, value] : parameters) {
    raisingFor(key, [&, &key = key, &value = value] { writer.write(key, value); });
  }
  return writer.takeQuery();
}

Dictionary URLQueryParametersWithOptions(std::string_view subject, URLQueryFlags options) {
  Reader reader(options);
  if (const auto query = queryInside(subject)) reader.read(*query);
  return reader.takeParameters();
}

Dictionary URLQueryParameters(std::string_view subject, URLQueryFlags options) {
  return URLQueryParametersWithOptions(subject, options);
}

std::string stringByMergingURLQuery(std::string_view subject, std::string_view query,
                                    URLQueryFlags options) {
  const URLQueryFlags mode = modeOf(options, URLQueryModeKeepLast);
  const std::optional<std::string_view> incoming = queryInside(query);
  if (!incoming || incoming->empty()) return std::string(subject);
  const std::optional<std::string_view> existing = queryInside(subject);
  if (!existing || existing->empty()) return stringByAppendingURLQuery(subject, *incoming);

  // Reading finds the query of a query: one that holds a "?" loses what precedes it.
  Dictionary parameters = URLQueryParametersWithOptions(*existing, options);
  const Dictionary added = URLQueryParametersWithOptions(*incoming, options);
  for (const auto& [key, value] : added) {
    if (const Value* old = parameters.find(key)) {
      parameters.set(key, mergedValue(*old, value, mode));
    } else if (mode == URLQueryModeAlwaysList) {
      // A list in a list: writing it fails, so this mode merges only keys that exist.
      parameters.set(key, List{value});
    } else {
      parameters.set(key, value);
    }
  }
  const URLQueryRange range = rangeOfURLQuery(subject);
  std::string result(subject.substr(0, range.location));
  result += URLQueryWithParameters(parameters, options);
  result += subject.substr(range.location + range.length);
  return result;
}

}  // namespace korvane::RequestUtils
