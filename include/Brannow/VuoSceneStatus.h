// What a scene is doing.
#pragma once

#include <optional>
#include <string>

struct VuoSceneStatus {
  enum class State {
    Empty,    ///< no file
    Loading,  ///< a file is being compiled or started
    Running,  ///< a composition runs
    Failed,   ///< the file could not be compiled or started
    Lost,     ///< the composition ended by itself; the scene has been unloaded
  };

  State state = State::Empty;
  std::optional<std::string> file;  ///< the one that this is about; none when empty
  /// With `Failed` the text that the alert shows, or why the composition did not start; with `Lost`
  /// how it ended, as far as that is known. Otherwise empty.
  std::string message;

  bool operator==(const VuoSceneStatus&) const = default;
};
