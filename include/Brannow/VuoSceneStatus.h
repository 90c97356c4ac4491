// What a scene is doing.
#pragma once

#include <optional>
#include <string>

struct VuoSceneStatus {
  enum class State {
    Empty,    ///< no file
    Loading,  ///< a file is being compiled, or its composition has yet to come up
    Running,  ///< a composition has come up
    Failed,   ///< the file could not be compiled, or its composition did not come up
    Lost,     ///< the composition ended by itself; the scene has been unloaded
  };

  State state = State::Empty;
  std::optional<std::string> file;  ///< the one that this is about; none when empty
  /// With `Failed` the text that the alert shows, or why the composition did not come up; with
  /// `Lost` how it ended, as far as that is known. With `Loading` or `Running` for how long a
  /// composition in this process has been at one thing that it does not finish; otherwise empty.
  std::string message;

  bool operator==(const VuoSceneStatus&) const = default;
};
