// The messages between a runner and the player. Ports are named by their places in the lists of
// the plan, which both know.
//
// runner to player
//   {"kind": "event", "event": n, "asked": 0 or 1, "values": [[input, value], ...],
//       "inputs": [input, ...]}                              may come before the player is ready
//   {"kind": "cancel", "event": n}                           nobody waits for the event any more
//   {"kind": "image", "input": i, "width": w, "height": h}   with the pixels' descriptor
//   {"kind": "frame done", "buffer": b}
//   {"kind": "trial answer", "same": 0 or 1}                 to each round
//   {"kind": "texture done", "texture": t}                   once for each time it was lent
//   {"kind": "texture refused"}                              from now on only pixels
//   {"kind": "stop"}
//
// player to runner
//   {"kind": "ready"}                                        the composition has come up
//   {"kind": "refused", "message": m}                        it can't
//   {"kind": "buffer", "buffer": b, "size": n}               with the buffer's descriptor
//   {"kind": "trial", "round": 1, LAYOUT}                    with a texture's descriptor
//   {"kind": "trial", "round": 2}                            the same texture with other pixels
//   {"kind": "texture", "texture": t, LAYOUT}                with the texture's descriptor
//       LAYOUT is "width": w, "height": h, "format": f, "modifier": m, "stride": s, "offset": o
//   {"kind": "texture gone", "texture": t}
//   {"kind": "outputs", "event": n, "outcome": c, "reports": [{"output": o, "value": v,
//       "frame": f, "fault": m}, ...]}
//       c is EventReport::Outcome; "value" or "frame" where data came with the event, "fault" where
//       a node that it depends on could not do its work;
//       a frame is {"buffer": b, "width": w, "height": h}, or {"texture": t} where one is lent
//   {"kind": "dropped", "input": i}
//   {"kind": "failed", "message": m}
#pragma once

#include <cstdint>
#include <string>

#include "platform/runtime/JsonOwner.h"

namespace vuo {

/// The descriptor at which a player finds its end of the socket pair.
constexpr int playerSocket = 3;
/// The descriptor of the artefact that it plays.
constexpr int playerArtefact = 4;
/// The player's second argument where it goes on without its host.
constexpr const char* outliveHostArgument = "outlive-host";

/// A new message of that kind.
JsonOwner newMessage(const char* kind);
std::string kindOf(json_object* message);
JsonOwner newObject();
JsonOwner newArray();
JsonOwner newNumber(std::uint64_t number);
JsonOwner newText(const std::string& text);

void add(json_object* message, const char* key, std::uint64_t number);
void add(json_object* message, const char* key, const std::string& text);
void add(json_object* message, const char* key, JsonOwner value);
void append(json_object* array, JsonOwner value);

/// The members of messages. Each throws std::runtime_error when the message lacks it.
std::uint64_t numberIn(json_object* message, const char* key);
std::string textIn(json_object* message, const char* key);
json_object* arrayIn(json_object* message, const char* key);
/// Whatever the key stands for; null when the message lacks it.
json_object* valueIn(json_object* message, const char* key);

}  // namespace vuo
