// A composition file, described without compiling or running it.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "Brannow/BrannowExport.h"
#include "Brannow/ZQVuoCompositionPort.h"
#include "Brannow/ZQVuoCompositionProblem.h"

/// The bits of a composition's role.
enum ZQVuoProtocol : std::int64_t {
  ZQVuoProtocol_ImageFilter = 1,
  ZQVuoProtocol_ImageGenerator = 2,
  ZQVuoProtocol_TxtSrcFileInput = 4,
};

/// Complete when `initWithPath` returns and never changed by the framework afterwards, so it may be
/// read from any thread. The port lists are the composition's own and carry no lock.
class BRANNOW_API ZQVuoComposition {
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

  ~ZQVuoComposition();
  ZQVuoComposition(const ZQVuoComposition&) = delete;
  ZQVuoComposition& operator=(const ZQVuoComposition&) = delete;

  const std::string& path() const;
  /// The last component of the path, extension included.
  const std::string& fileName() const;
  /// The role, a set of `ZQVuoProtocol` bits: 0, 1, 2 or 6.
  std::int64_t protocol() const;
  /// Whether every bit of `mask` is set in the role; always true for 0.
  bool conformsToVuoProtocol(std::int64_t mask) const { return (protocol() & mask) == mask; }
  /// Always absent.
  std::optional<std::string> description() const { return std::nullopt; }
  std::optional<std::string> copyright() const { return std::nullopt; }

  /// The ports with fixed roles; null where the composition has none. Each is also in a list.
  const Port& runnerWidthPort() const;
  const Port& runnerHeightPort() const;
  const Port& runnerTimePort() const;
  const Port& runnerImageInputPort() const;
  const Port& runnerImageOutputPort() const;
  /// A text input named for a text file, whose path the host is to set as its value. The
  /// composition gets the file's text, again whenever the file has changed.
  const Port& runnerTxtSrcFileInputPort() const;

  /// The published ports in file order. The composition's own lists, not copies: a host that
  /// changes one must not do so while another thread uses the composition.
  PortList& publishedInputPorts();
  const PortList& publishedInputPorts() const;
  PortList& publishedOutputPorts();
  const PortList& publishedOutputPorts() const;

  /// What could not be read, in the order of the lines, the first thousand; empty when everything
  /// was. The file as it was when it was read: later changes to it, or to the ports, do not count.
  const std::vector<ZQVuoCompositionProblem>& problems() const;

  /// The first port of that exact name, or null.
  Port inputPortNamed(const std::optional<std::string>& name) const;
  Port outputPortNamed(const std::optional<std::string>& name) const;

 private:
  struct Contents;
  explicit ZQVuoComposition(std::string path);
  void _loadComposition();

  const std::unique_ptr<Contents> _contents;
};
