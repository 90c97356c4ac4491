#include "Brannow/ZQVuoComposition.h"

#include <algorithm>
#include <cerrno>
#include <map>
#include <new>

#include "composition/NodePlaces.h"
#include "composition/PortValues.h"
#include "composition/PublishedLine.h"
#include "composition/TextLines.h"
#include "platform/hostbase/HostStrings.h"
#include "platform/system/FileSystem.h"
#include "platform/system/SystemLog.h"
#include "platform/system/WithMemory.h"

using platform::systemLog;

namespace {

/// The number of the line that holds the last byte of `text`, from 1.
std::size_t lineAtEndOf(std::string_view text) {
  std::size_t lines = 0;
  forEachLine(text, [&lines](std::string_view) { ++lines; });
  return lines;
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
    if (type == ZQVuoPortType_Undefined) {
      tellOfType(name, typeName);
      return {};
    }
    Known known{platform::orBadAlloc(ZQVuoCompositionPort::createWithPortType(type, name))};
    known.complaint = fillPortValues(*known.port, _attributes);
    return known;
  }

  void tellOfType(const std::string& name, const std::optional<std::string>& typeName) const {
    using Kind = ZQVuoProblemKind;
    _attributes.problems().add(
        typeName ? Kind::PortTypeUnknown : Kind::PortTypeMissing,
        "the port " + inQuotes(name) + " is left out: its type is " +
            (typeName ? inQuotes(*typeName) + ", which is none" : "missing"));
  }

  static ZQVuoComposition::Port copyOf(const ZQVuoCompositionPort& port) {
    auto copy = platform::orBadAlloc(
        ZQVuoCompositionPort::createWithPortType(port.portType(), port.portName()));
    copy->setMinVal(port.minVal());
    copy->setMaxVal(port.maxVal());
    copy->setDefaultVal(port.defaultVal());
    copy->setStepVal(port.stepVal());
    return copy;
  }

  const LineAttributes& _attributes;
  std::map<std::string_view, Known> _known;
};

void tellOfNodeType(PublishedKind kind, const std::optional<std::string>& type,
                    const std::string& expected, ProblemList& problems) {
  using Kind = ZQVuoProblemKind;
  problems.add(type ? Kind::NodeTypeUnknown : Kind::NodeTypeMissing,
               std::string(nodeName(kind)) + " is not read: its type is " +
                   (type ? inQuotes(*type) : "missing") + " and should be " + inQuotes(expected));
}

ZQVuoComposition::Port firstNamed(const ZQVuoComposition::PortList& ports,
                                  const std::optional<std::string>& name) {
  if (!name) return nullptr;
  const auto found = std::find_if(ports.begin(), ports.end(), [&](const auto& port) {
    return port && port->portName() == *name;
  });
  return found == ports.end() ? nullptr : *found;
}

}  // namespace

/// What is read, and how.
struct ZQVuoComposition::Contents {
  explicit Contents(std::string path)
      : _path(std::move(path)), _fileName(platform::lastPathComponent(_path)) {}

  std::optional<std::string> _readText(ProblemList& problems) const;
  void _parseText(std::string_view text, ProblemList& problems);
  void _parseLine(std::string_view line, ProblemList& problems);
  void assignRoles();
  Port* openRoleFor(const ZQVuoCompositionPort& input);
  std::int64_t roleBits() const;

  const std::string _path;
  const std::string _fileName;
  std::int64_t _protocol = 0;
  Port _runnerWidthPort;
  Port _runnerHeightPort;
  Port _runnerTimePort;
  Port _runnerImageInputPort;
  Port _runnerImageOutputPort;
  Port _runnerTxtSrcFileInputPort;
  PortList _publishedInputPorts;
  PortList _publishedOutputPorts;
  std::vector<ZQVuoCompositionProblem> _problems;
};

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
    const std::optional<std::string>& path) try {
  if (!path) return nullptr;
  std::shared_ptr<ZQVuoComposition> composition(new ZQVuoComposition(*path));
  composition->_loadComposition();
  return composition;
} catch (const std::bad_alloc&) {
  systemLog("\t\terr: caught exception in %s", {"-[ZQVuoComposition initWithPath:]"});
  return nullptr;
}

ZQVuoComposition::ZQVuoComposition(std::string path)
    : _contents(std::make_unique<Contents>(std::move(path))) {}

ZQVuoComposition::~ZQVuoComposition() = default;

void ZQVuoComposition::_loadComposition() {
  ProblemList problems;
  if (const auto text = _contents->_readText(problems)) {
    _contents->_parseText(*text, problems);
  } else {
    systemLog("\t\terr: couldn't load file, %s", {"-[ZQVuoComposition _loadComposition]"});
  }
  _contents->_problems = problems.release();
}

std::optional<std::string> ZQVuoComposition::Contents::_readText(ProblemList& problems) const {
  platform::ReadFailure failure;
  auto text = platform::readFile(_path, platform::largestTextFile, &failure);
  if (!text) {
    const bool isMissing = failure.number == ENOENT || failure.number == ENOTDIR;
    problems.add(isMissing ? ZQVuoProblemKind::FileMissing : ZQVuoProblemKind::FileUnreadable,
                 isMissing ? "no such file" : "can't be read: " + failure.text);
    return std::nullopt;
  }
  const auto wrong = platform::placeOfInvalidUtf8(*text);
  if (!wrong) return text;
  problems.addNotUtf8(lineAtEndOf(std::string_view(*text).substr(0, *wrong)), *wrong);
  return std::nullopt;
}

void ZQVuoComposition::Contents::_parseText(std::string_view text, ProblemList& problems) {
  NodePlaces places(text, problems);
  ProblemList untold;  // what is wrong with a part of a node may be right with the whole
  std::size_t number = 0;
  forEachLine(text, [&](std::string_view line) {
    problems.setLine(++number);
    _parseLine(line, places.areRightOn(line) ? problems : untold);
  });
  assignRoles();
  _protocol = roleBits();
}

void ZQVuoComposition::Contents::_parseLine(std::string_view line, ProblemList& problems) {
  const auto kind = kindOfLine(line);
  if (!kind) return;
  const auto attributes = LineAttributes::ofLine(line, problems);
  if (!attributes) return;
  const bool isInputs = *kind == PublishedKind::Inputs;
  const std::string expected = isInputs ? "vuo.in" : "vuo.out";
  const auto type = attributes->value("type");
  if (type != expected) {
    if (declaresNode(line, *kind)) tellOfNodeType(*kind, type, expected, problems);
    return;
  }

  const std::string label = attributes->value("label").value_or("");
  PortList& ports = isInputs ? _publishedInputPorts : _publishedOutputPorts;
  PortMaker maker(*attributes);
  for (const std::string_view name : portNamesInLabel(label)) {
    if (auto port = maker.portNamed(name)) ports.push_back(std::move(port));
  }
}

void ZQVuoComposition::Contents::assignRoles() {
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
ZQVuoComposition::Port* ZQVuoComposition::Contents::openRoleFor(const ZQVuoCompositionPort& input) {
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

std::int64_t ZQVuoComposition::Contents::roleBits() const {
  if (_runnerImageInputPort && _runnerImageOutputPort) return ZQVuoProtocol_ImageFilter;
  if (!_runnerWidthPort || !_runnerHeightPort || !_runnerImageOutputPort) return 0;
  std::int64_t bits = ZQVuoProtocol_ImageGenerator;
  if (_runnerTxtSrcFileInputPort) bits |= ZQVuoProtocol_TxtSrcFileInput;
  return bits;
}

const std::string& ZQVuoComposition::path() const {
  return _contents->_path;
}
const std::string& ZQVuoComposition::fileName() const {
  return _contents->_fileName;
}
std::int64_t ZQVuoComposition::protocol() const {
  return _contents->_protocol;
}
const ZQVuoComposition::Port& ZQVuoComposition::runnerWidthPort() const {
  return _contents->_runnerWidthPort;
}
const ZQVuoComposition::Port& ZQVuoComposition::runnerHeightPort() const {
  return _contents->_runnerHeightPort;
}
const ZQVuoComposition::Port& ZQVuoComposition::runnerTimePort() const {
  return _contents->_runnerTimePort;
}
const ZQVuoComposition::Port& ZQVuoComposition::runnerImageInputPort() const {
  return _contents->_runnerImageInputPort;
}
const ZQVuoComposition::Port& ZQVuoComposition::runnerImageOutputPort() const {
  return _contents->_runnerImageOutputPort;
}
const ZQVuoComposition::Port& ZQVuoComposition::runnerTxtSrcFileInputPort() const {
  return _contents->_runnerTxtSrcFileInputPort;
}
ZQVuoComposition::PortList& ZQVuoComposition::publishedInputPorts() {
  return _contents->_publishedInputPorts;
}
const ZQVuoComposition::PortList& ZQVuoComposition::publishedInputPorts() const {
  return _contents->_publishedInputPorts;
}
ZQVuoComposition::PortList& ZQVuoComposition::publishedOutputPorts() {
  return _contents->_publishedOutputPorts;
}
const ZQVuoComposition::PortList& ZQVuoComposition::publishedOutputPorts() const {
  return _contents->_publishedOutputPorts;
}
const std::vector<ZQVuoCompositionProblem>& ZQVuoComposition::problems() const {
  return _contents->_problems;
}

ZQVuoComposition::Port ZQVuoComposition::inputPortNamed(
    const std::optional<std::string>& name) const {
  return firstNamed(_contents->_publishedInputPorts, name);
}

ZQVuoComposition::Port ZQVuoComposition::outputPortNamed(
    const std::optional<std::string>& name) const {
  return firstNamed(_contents->_publishedOutputPorts, name);
}
