#include "platform/system/PropertyList.h"

#include <glib.h>

#include <algorithm>
#include <cstdio>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/system/FileSystem.h"

namespace platform {
namespace {

constexpr std::size_t kDeepest = 512;

constexpr std::string_view kHead =
    "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
    "<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" "
    "\"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n"
    "<plist version=\"1.0\">\n";
constexpr std::string_view kTail = "</plist>\n";

std::optional<PropertyListDate> dateOf(const std::string& text) {
  int year = 0, month = 0, day = 0, hour = 0, minute = 0, second = 0, length = 0;
  const int found = std::sscanf(text.c_str(), "%4d-%2d-%2dT%2d:%2d:%2dZ%n", &year, &month, &day,
                                &hour, &minute, &second, &length);
  if (found != 6 || static_cast<std::size_t>(length) != text.size()) return std::nullopt;
  using namespace std::chrono;
  const auto date = std::chrono::year(year) / month / day;
  if (!date.ok() || hour < 0 || hour > 23 || minute < 0 || minute > 59 || second < 0 || second > 60)
    return std::nullopt;
  return sys_days(date) + hours(hour) + minutes(minute) + seconds(second);
}

/// None for a year that does not have four digits.
std::optional<std::string> textOf(PropertyListDate date) {
  using namespace std::chrono;
  const auto day = floor<days>(date);
  const year_month_day calendar(day);
  if (int(calendar.year()) < 0 || int(calendar.year()) > 9999) return std::nullopt;
  const hh_mm_ss time(date - day);
  char text[64];
  std::snprintf(text, sizeof text, "%04d-%02u-%02uT%02d:%02d:%02dZ", int(calendar.year()),
                unsigned(calendar.month()), unsigned(calendar.day()), int(time.hours().count()),
                int(time.minutes().count()), int(time.seconds().count()));
  return std::string(text);
}

/// What XML has no way to write: control characters, two code points, and broken UTF-8.
bool fitsXml(const std::string& text) {
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    if (byte < 0x20 && byte != '\t' && byte != '\n' && byte != '\r') return false;
  }
  return text.find("\xEF\xBF\xBE") == text.npos && text.find("\xEF\xBF\xBF") == text.npos &&
         isValidUtf8(text);
}

void appendEscaped(std::string& xml, std::string_view text) {
  for (const char c : text) {
    switch (c) {
      case '<':
        xml += "&lt;";
        break;
      case '>':
        xml += "&gt;";
        break;
      case '&':
        xml += "&amp;";
        break;
      case '\r':
        xml += "&#13;";  // else readers make a line end of it
        break;
      default:
        xml += c;
    }
  }
}

std::string base64Of(const std::string& bytes) {
  char* text = g_base64_encode(reinterpret_cast<const guchar*>(bytes.data()), bytes.size());
  std::string result(text);
  g_free(text);
  return result;
}

std::string bytesOf(const std::string& base64) {
  gsize length = 0;
  guchar* bytes = g_base64_decode(base64.c_str(), &length);
  std::string result(reinterpret_cast<const char*>(bytes), length);
  g_free(bytes);
  return result;
}

bool isSpace(std::string_view text) {
  return text.find_first_not_of(" \t\r\n") == text.npos;
}

/// Builds a dictionary from the elements of a file, which GLib's parser hands over one by one.
class Reader {
 public:
  std::optional<PropertyListDictionary> read(std::string_view xml) {
    constexpr GMarkupParser kCalls{started, ended, text, nullptr, nullptr};
    GMarkupParseContext* context =
        g_markup_parse_context_new(&kCalls, G_MARKUP_TREAT_CDATA_AS_TEXT, this, nullptr);
    if (xml.starts_with("\xEF\xBB\xBF")) xml.remove_prefix(3);
    const bool read = g_markup_parse_context_parse(context, xml.data(),
                                                   static_cast<gssize>(xml.size()), nullptr) &&
                      g_markup_parse_context_end_parse(context, nullptr);
    g_markup_parse_context_free(context);
    return read ? std::move(_root) : std::nullopt;
  }

 private:
  struct OpenDictionary {
    PropertyListDictionary items;
    std::optional<std::string> key;
  };

  static void started(GMarkupParseContext*, const gchar* name, const gchar**, const gchar**,
                      gpointer reader, GError** error) {
    if (!static_cast<Reader*>(reader)->start(name)) refuse(error);
  }
  static void ended(GMarkupParseContext*, const gchar* name, gpointer reader, GError** error) {
    if (!static_cast<Reader*>(reader)->end(name)) refuse(error);
  }
  static void text(GMarkupParseContext*, const gchar* text, gsize length, gpointer reader,
                   GError** error) {
    if (!static_cast<Reader*>(reader)->addText({text, length})) refuse(error);
  }
  static void refuse(GError** error) {
    g_set_error_literal(error, G_MARKUP_ERROR, G_MARKUP_ERROR_INVALID_CONTENT, "no property list");
  }

  bool start(std::string_view name) {
    if (_dictionaries.size() + _otherDepth > kDeepest) return false;
    if (_otherDepth > 0) return startInOther(name);
    if (!_inList) {
      _inList = name == "plist" && !_root;
      return _inList;
    }
    if (_dictionaries.empty()) {
      if (name != "dict" || _root) return false;
      _dictionaries.emplace_back();
      return true;
    }
    if (!_leaf.empty()) return false;
    const bool hasKey = _dictionaries.back().key.has_value();
    if ((name == "key") == hasKey) return false;
    _text.clear();
    if (name == "key" || name == "string" || name == "date" || name == "data") {
      _leaf = name;
      return true;
    }
    if (name == "dict") {
      _dictionaries.emplace_back();
      return true;
    }
    return startInOther(name);
  }

  bool startInOther(std::string_view name) {
    constexpr std::string_view kNames[] = {"array", "dict", "key",  "string", "date",
                                           "data",  "real", "true", "false",  "integer"};
    if (std::find(std::begin(kNames), std::end(kNames), name) == std::end(kNames)) return false;
    ((_text += '<') += name) += '>';
    ++_otherDepth;
    return true;
  }

  bool end(std::string_view name) {
    if (_otherDepth > 0) {
      ((_text += "</") += name) += '>';
      return --_otherDepth > 0 || add({PropertyListOther{std::move(_text)}});
    }
    if (!_leaf.empty()) return endLeaf();
    if (_dictionaries.empty()) {
      _inList = false;
      return _root.has_value();
    }
    if (_dictionaries.back().key) return false;
    PropertyListDictionary items = std::move(_dictionaries.back().items);
    _dictionaries.pop_back();
    if (!_dictionaries.empty())
      return add({std::make_shared<const PropertyListDictionary>(std::move(items))});
    _root = std::move(items);
    return true;
  }

  bool endLeaf() {
    const std::string leaf = std::exchange(_leaf, {});
    if (leaf == "key") {
      _dictionaries.back().key = std::move(_text);
      return true;
    }
    if (leaf == "string") return add({std::move(_text)});
    if (leaf == "data") return add({PropertyListData{bytesOf(_text)}});
    if (const auto date = dateOf(_text)) return add({*date});
    std::string asItStands = "<date>";
    appendEscaped(asItStands, _text);
    return add({PropertyListOther{asItStands + "</date>"}});
  }

  bool add(PropertyListValue value) {
    OpenDictionary& dictionary = _dictionaries.back();
    dictionary.items.emplace(std::move(*dictionary.key), std::move(value));
    dictionary.key.reset();
    return true;
  }

  bool addText(std::string_view text) {
    if (!_leaf.empty())
      _text += text;
    else if (_otherDepth > 0)
      appendEscaped(_text, text);
    else
      return isSpace(text);
    return true;
  }

  bool _inList = false;
  std::optional<PropertyListDictionary> _root;
  std::vector<OpenDictionary> _dictionaries;
  std::string _leaf;            // the open element that holds text only
  std::size_t _otherDepth = 0;  // open elements of a value that is kept as it stands
  std::string _text;
};

void append(std::string& xml, const PropertyListDictionary& dictionary, std::size_t depth);

void appendElement(std::string& xml, std::size_t depth, std::string_view name,
                   std::string_view text) {
  ((xml.append(depth, '\t') += '<') += name) += '>';
  appendEscaped(xml, text);
  ((xml += "</") += name) += ">\n";
}

/// Nothing for what has no XML form.
void append(std::string& xml, const PropertyListValue& value, std::size_t depth) {
  if (const auto* text = std::get_if<std::string>(&value.value)) {
    fitsXml(*text) ? appendElement(xml, depth, "string", *text)
                   : appendElement(xml, depth, "data", base64Of(*text));
  } else if (const auto* data = std::get_if<PropertyListData>(&value.value)) {
    appendElement(xml, depth, "data", base64Of(data->bytes));
  } else if (const auto* other = std::get_if<PropertyListOther>(&value.value)) {
    if (!other->xml.empty()) (xml.append(depth, '\t') += other->xml) += '\n';
  } else if (const auto date = value.date()) {
    if (const auto dateText = textOf(*date)) appendElement(xml, depth, "date", *dateText);
  } else {
    append(xml, *value.dictionary(), depth);
  }
}

void append(std::string& xml, const PropertyListDictionary& dictionary, std::size_t depth) {
  xml.append(depth, '\t') += "<dict>\n";
  for (const auto& [key, value] : dictionary) {
    std::string element;
    append(element, value, depth + 1);
    if (element.empty() || !fitsXml(key)) continue;
    appendElement(xml, depth + 1, "key", key);
    xml += element;
  }
  xml.append(depth, '\t') += "</dict>\n";
}

}  // namespace

std::optional<std::string> stringForKey(const PropertyListDictionary& dictionary,
                                        const std::string& key) {
  const auto found = dictionary.find(key);
  return found == dictionary.end() ? std::nullopt : found->second.string();
}

bool canBeKey(const std::string& text) {
  return fitsXml(text);
}

std::optional<PropertyListDictionary> propertyListOf(std::string_view xml) {
  return Reader().read(xml);
}

std::string xmlOf(const PropertyListDictionary& dictionary) {
  std::string xml(kHead);
  append(xml, dictionary, 0);
  return xml += kTail;
}

std::optional<PropertyListDictionary> readPropertyList(const std::string& path) {
  const auto xml = readFile(path, largestPropertyList);
  return xml ? propertyListOf(*xml) : std::nullopt;
}

bool writePropertyListAtomically(const PropertyListDictionary& dictionary,
                                 const std::string& path) {
  const std::string xml = xmlOf(dictionary);
  return xml.size() <= largestPropertyList && writeFileAtomically(path, xml);
}

}  // namespace platform

std::optional<std::string> brannow::PropertyListValue::string() const {
  if (const auto* data = std::get_if<PropertyListData>(&value)) return data->bytes;
  const auto* text = std::get_if<std::string>(&value);
  return text ? std::optional(*text) : std::nullopt;
}

std::optional<brannow::PropertyListDate> brannow::PropertyListValue::date() const {
  const auto* date = std::get_if<PropertyListDate>(&value);
  return date ? std::optional(*date) : std::nullopt;
}

std::shared_ptr<const brannow::PropertyListDictionary> brannow::PropertyListValue::dictionary()
    const {
  const auto* held = std::get_if<std::shared_ptr<const PropertyListDictionary>>(&value);
  return held ? *held : nullptr;
}
