// A composition file, described without compiling or running it.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Brannow/ZQVuoCompositionPort.h"
#include "Brannow/ZQVuoCompositionProblem.h"

class ProblemList;

/// The bits of a composition's role.
enum ZQVuoProtocol : std::int64_t {
  ZQVuoProtocol_ImageFilter = 1,
  ZQVuoProtocol_ImageGenerator = 2,
  ZQVuoProtocol_TxtSrcFileInput = 4,
};

/// Complete when `initWithPath` returns and never changed by the framework afterwards, so it may be
/// read from any thread. The port lists are the composition's own and carry no lock.
class ZQVuoComposition {
 public:
  using Port = std::shared_ptr<ZQVuoCompositionPort>;
  using PortList = std::vector<Port>;

  /// Whether the path's last component is a visible name with the extension "vuo" in any case.
  /// Does not look at the file system. An absent path gives false.
  static bool pathLooksLikeALegitComposition(const std::optional<std::string>& path);

  /// Reads the file at `path` on the calling thread, as long as that takes; memory in proportion to
  /// the file. Null when the path is absent or there is no memory for it. A file that can't be read
  /// or is not UTF-8 is logged and gives a composition without ports; `problems` says why.
  static std::shared_ptr<ZQVuoComposition> initWithPath(const std::optional<std::string>& path);

  ZQVuoComposition(const ZQVuoComposition&) = delete;
  ZQVuoComposition& operator=(const ZQVuoComposition&) = delete;

  const std::string& path() const { return _path; }
  /// The last component of the path, extension included.
  const std::string& fileName() const { return _fileName; }
  /// The role, a set of `ZQVuoProtocol` bits: 0, 1, 2 or 6.
  std::int64_t protocol() const { return _protocol; }
  /// Whether every bit of `mask` is set in the role; always true for 0.
  bool conformsToVuoProtocol(std::int64_t mask) const { return (_protocol & mask) == mask; }
  /// Always absent.
  std::optional<std::string> description() const { return std::nullopt; }
  std::optional<std::string> copyright() const { return std::nullopt; }

  /// The ports with fixed roles; null where the composition has none. Each is also in a list.
  const Port& runnerWidthPort() const { return _runnerWidthPort; }
  const Port& runnerHeightPort() const { return _runnerHeightPort; }
  const Port& runnerTimePort() const { return _runnerTimePort; }
  const Port& runnerImageInputPort() const { return _runnerImageInputPort; }
  const Port& runnerImageOutputPort() const { return _runnerImageOutputPort; }
  /// A text input named for a text file, whose path the host is to set as its value.
  const Port& runnerTxtSrcFileInputPort() const { return _runnerTxtSrcFileInputPort; }

  /// The published ports in file order. The composition's own lists, not copies: a host that
  /// changes one must not do so while another thread uses the composition.
  PortList& publishedInputPorts() { return _publishedInputPorts; }
  const PortList& publishedInputPorts() const { return _publishedInputPorts; }
  PortList& publishedOutputPorts() { return _publishedOutputPorts; }
  const PortList& publishedOutputPorts() const { return _publishedOutputPorts; }

  /// What could not be read, in the order of the lines, the first thousand; empty when everything
  /// was. The file as it was when it was read: later changes to it, or to the ports, do not count.
  const std::vector<ZQVuoCompositionProblem>& problems() const { return _problems; }

  /// The first port of that exact name, or null.
  Port inputPortNamed(const std::optional<std::string>& name) const;
  Port outputPortNamed(const std::optional<std::string>& name) const;

 private:
  explicit ZQVuoComposition(std::string path);
  void _loadComposition();
  std::optional<std::string> _readText(ProblemList& problems) const;
  void _parseText(std::string_view text, ProblemList& problems);
  void _parseLine(std::string_view line, ProblemList& problems);
  void assignRoles();
  Port* openRoleFor(const ZQVuoCompositionPort& input);
  std::int64_t roleBits() const;

  std::string _path;
  std::string _fileName;
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
