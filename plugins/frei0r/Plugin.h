#pragma once

#include <string>
#include <vector>

#include "plugins/frei0r/Export.h"
#include "plugins/frei0r/Parameter.h"

namespace frei0r {

/// The composition that was exported into this very file, as far as it is described without being
/// run or written anywhere: hosts look at every plug-in that there is.
class Plugin {
 public:
  /// Read at the first call and kept until the process ends. Null, with a line on standard error,
  /// where the file can't be read or holds none. Any thread.
  static const Plugin* ofThisFile();

  void describe(f0r_plugin_info_t& info) const;
  const std::string& name() const { return _name; }
  bool isFilter() const { return _isFilter; }
  const std::vector<Parameter>& parameters() const { return _parameters; }
  const Export& contents() const { return _contents; }
  /// A line on standard error, with the plug-in's name.
  void say(const std::string& text) const;

 private:
  explicit Plugin(Export contents);

  const Export _contents;
  const std::string _name;
  bool _isFilter = false;
  std::vector<Parameter> _parameters;
  std::string _explanation;
};

}  // namespace frei0r
