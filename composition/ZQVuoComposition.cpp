#include "Brannow/ZQVuoComposition.h"

#include <algorithm>
#include <map>

#include "composition/CompositionLine.h"
#include "composition/PortValues.h"
#include "platform/hostbase/HostStrings.h"
#include "platform/system/FileSystem.h"
#include "platform/system/SystemLog.h"

using platform::systemLog;

namespace {

/// The length of the line break at `at`, or 0: LF, CR, CR LF, NEL, LINE SEPARATOR or PARAGRAPH
/// SEPARATOR.
std::size_t lineBreakAt(std::string_view text, std::size_t at) {
  switch (text[at]) {
    case '\n':
      return 1;
    case '\r':
      return text.substr(at, 2) == "\r\n" ? 2 : 1;
    case '\xC2':
      return text.substr(at, 2) == "\xC2\x85" ? 2 : 0;
    case '\xE2':
      return text.substr(at, 3) == "\xE2\x80\xA8" || text.substr(at, 3) == "\xE2\x80\xA9" ? 3 : 0;
    default:
      return 0;
  }
}

/// Finds the places where a line break may begin. Each of the bytes that can begin one is looked
/// for by itself, which costs a small part of looking at every byte.
class BreakFinder {
 public:
  explicit BreakFinder(std::string_view text) : _text(text) {
    for (Lead& lead : _leads) lead.next = _text.find(lead.byte);
  }

  /// The first place that is not before `from`; `npos` when there is none. `from` never decreases.
  std::size_t nextFrom(std::size_t from) {
    std::size_t first = std::string_view::npos;
    for (Lead& lead : _leads) {
      if (lead.next < from) lead.next = _text.find(lead.byte, from);
      first = std::min(first, lead.next);
    }
    return first;
  }

 private:
  struct Lead {
    char byte;
    std::size_t next = 0;
  };
  std::string_view _text;
  Lead _leads[4] = {{'\n'}, {'\r'}, {'\xC2'}, {'\xE2'}};
};

template <class Use>
void forEachLine(std::string_view text, Use use) {
  BreakFinder breaks(text);
  std::size_t start = 0;
  for (std::size_t at = 0; (at = breaks.nextFrom(at)) != std::string_view::npos;) {
    const std::size_t length = lineBreakAt(text, at);
    if (length == 0) {
      ++at;
      continue;
    }
    use(text.substr(start, at - start));
    start = at = at + length;
  }
  use(text.substr(start));
}

/// Makes the ports of one line. A name that occurs again takes over what was read for it the first
/// time, so that repeating a name costs no more than its port.
class PortMaker {
 public:
  explicit PortMaker(const LineAttributes& attributes) : _attributes(attributes) {}

  /// Null when the line gives the name no type that is understood.
  ZQVuoComposition::Port portNamed(std::string_view name) {
    auto [known, isNew] = _known.try_emplace(name);
    if (isNew) known->second = firstPortNamed(std::string(name));
    const Known& model = known->second;
    if (model.complaint) systemLog(model.complaint, {"-[ZQVuoComposition _parseLine:]"});
    return isNew || !model.port ? model.port : copyOf(*model.port);
  }

 private:
  struct Known {
    ZQVuoComposition::Port port;
    const char* complaint = nullptr;
  };

  Known firstPortNamed(const std::string& name) const {
    const auto typeName = _attributes.value("_" + name + "_type");
    const auto type = typeName ? portTypeNamed(*typeName) : ZQVuoPortType_Undefined;
    if (type == ZQVuoPortType_Undefined) return {};
    Known known{ZQVuoCompositionPort::createWithPortType(type, name)};
    known.complaint = fillPortValues(*known.port, _attributes);
    return known;
  }

  static ZQVuoComposition::Port copyOf(const ZQVuoCompositionPort& port) {
    auto copy = ZQVuoCompositionPort::createWithPortType(port.portType(), port.portName());
    copy->setMinVal(port.minVal());
    copy->setMaxVal(port.maxVal());
    copy->setDefaultVal(port.defaultVal());
    copy->setStepVal(port.stepVal());
    return copy;
  }

  const LineAttributes& _attributes;
  std::map<std::string_view, Known> _known;
};

ZQVuoComposition::Port firstNamed(const ZQVuoComposition::PortList& ports,
                                  const std::optional<std::string>& name) {
  if (!name) return nullptr;
  const auto found = std::find_if(ports.begin(), ports.end(), [&](const auto& port) {
    return port && port->portName() == *name;
  });
  return found == ports.end() ? nullptr : *found;
}

}  // namespace

bool ZQVuoComposition::pathLooksLikeALegitComposition(const std::optional<std::string>& path) {
  if (!path) return false;
  if (firstChar(platform::lastPathComponent(*path)) == ".") return false;
  std::string extension = platform::pathExtension(*path);
  if (extension.size() != 3) return false;
  std::transform(extension.begin(), extension.end(), extension.begin(),
                 [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c; });
  return extension == "vuo";
}

std::shared_ptr<ZQVuoComposition> ZQVuoComposition::initWithPath(
    const std::optional<std::string>& path) {
  if (!path) return nullptr;
  std::shared_ptr<ZQVuoComposition> composition(new ZQVuoComposition(*path));
  composition->_loadComposition();
  return composition;
}

ZQVuoComposition::ZQVuoComposition(std::string path)
    : _path(std::move(path)), _fileName(platform::lastPathComponent(_path)) {}

void ZQVuoComposition::_loadComposition() {
  const auto text = platform::readTextFile(_path);
  if (!text) {
    systemLog("\t\terr: couldn't load file, %s", {"-[ZQVuoComposition _loadComposition]"});
    return;
  }
  forEachLine(*text, [this](std::string_view line) { _parseLine(line); });
  assignRoles();
  _protocol = roleBits();
}

void ZQVuoComposition::_parseLine(std::string_view line) {
  const auto kind = kindOfLine(line);
  if (!kind) return;
  const auto attributes = LineAttributes::ofLine(line);
  if (!attributes) return;
  const bool isInputs = *kind == PublishedKind::Inputs;
  if (attributes->value("type") != (isInputs ? "vuo.in" : "vuo.out")) return;

  const std::string label = attributes->value("label").value_or("");
  PortList& ports = isInputs ? _publishedInputPorts : _publishedOutputPorts;
  PortMaker maker(*attributes);
  for (const std::string_view name : portNamesInLabel(label)) {
    if (auto port = maker.portNamed(name)) ports.push_back(std::move(port));
  }
}

void ZQVuoComposition::assignRoles() {
  for (const Port& port : _publishedInputPorts) {
    Port* const role = openRoleFor(*port);
    if (role) {
      *role = port;
    } else {
      port->setWantsUI(true);
    }
  }
  for (const Port& port : _publishedOutputPorts) {
    if (port->portType() != ZQVuoPortType_Image || port->portName() != "outputImage") continue;
    _runnerImageOutputPort = port;
    break;
  }
}

/// The role that an input of this type and name takes, or null when there is none or it is taken.
ZQVuoComposition::Port* ZQVuoComposition::openRoleFor(const ZQVuoCompositionPort& input) {
  const auto ifOpen = [](Port& role, bool fits) { return fits && !role ? &role : nullptr; };
  const std::string& name = input.portName();
  switch (input.portType()) {
    case ZQVuoPortType_Real:
    case ZQVuoPortType_Integer:
      if (Port* role = ifOpen(_runnerWidthPort, name == "width")) return role;
      if (Port* role = ifOpen(_runnerHeightPort, name == "height")) return role;
      return ifOpen(_runnerTimePort, name == "time");
    case ZQVuoPortType_Image:
      return ifOpen(_runnerImageInputPort, name == "image");
    case ZQVuoPortType_Text:
      return ifOpen(_runnerTxtSrcFileInputPort, denotesTXTFileInput(name));
    default:
      return nullptr;
  }
}

std::int64_t ZQVuoComposition::roleBits() const {
  if (_runnerImageInputPort && _runnerImageOutputPort) return ZQVuoProtocol_ImageFilter;
  if (!_runnerWidthPort || !_runnerHeightPort || !_runnerImageOutputPort) return 0;
  std::int64_t bits = ZQVuoProtocol_ImageGenerator;
  if (_runnerTxtSrcFileInputPort) bits |= ZQVuoProtocol_TxtSrcFileInput;
  return bits;
}

ZQVuoComposition::Port ZQVuoComposition::inputPortNamed(
    const std::optional<std::string>& name) const {
  return firstNamed(_publishedInputPorts, name);
}

ZQVuoComposition::Port ZQVuoComposition::outputPortNamed(
    const std::optional<std::string>& name) const {
  return firstNamed(_publishedOutputPorts, name);
}
