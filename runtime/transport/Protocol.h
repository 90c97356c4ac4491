// How a player is started.
#pragma once

namespace vuo {

/// The descriptor at which a player finds its end of the socket pair.
constexpr int playerSocket = 3;
/// The descriptor of the artefact that it plays.
constexpr int playerArtefact = 4;
/// The player's second argument where it goes on without its host.
constexpr const char* outliveHostArgument = "outlive-host";

}  // namespace vuo
