// The messages between a runner and the player. Ports are named by their places in the lists that
// the player announces.
//
// runner to player
//   {"kind": "event", "event": n, "values": [[input, value], ...], "inputs": [input, ...]}
//       n is 0 unless the event's end is to be reported in any case
//   {"kind": "cancel", "event": n}                           nobody waits for the event any more
//   {"kind": "image", "input": i, "width": w, "height": h}   with the pixels' descriptor
//   {"kind": "frame done", "buffer": b}
//   {"kind": "stop"}
//
// player to runner
//   {"kind": "ready", "inputs": [[name, type], ...], "outputs": [[name, type], ...]}
//   {"kind": "refused", "message": m}
//   {"kind": "buffer", "buffer": b, "size": n}               with the buffer's descriptor
//   {"kind": "outputs", "event": n, "outcome": c, "reports": [{"output": o, "value": v,
//       "frame": f, "fault": m}, ...]}
//       c is EventReport::Outcome; "value" or "frame" where data came with the event, "fault" where
//       a node that it depends on could not do its work;
//       a frame is {"buffer": b, "width": w, "height": h}
//   {"kind": "dropped", "input": i}
//   {"kind": "failed", "message": m}
#pragma once

#include <cstdint>
#include <string>

#include "platform/runtime/JsonOwner.h"

namespace vuo {

/// The descriptor at which a player finds its end of the socket pair.
constexpr int playerSocket = 3;
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
