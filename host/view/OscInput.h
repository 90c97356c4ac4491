// Values that other programs send, by Open Sound Control.
#pragma once

#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "Brannow/ZQVuoCompositionPort.h"
#include "platform/system/FileDescriptor.h"

/// The arguments of a message: numbers, truth values, texts. What else there may be stands for
/// nothing.
using OscArguments = std::vector<std::variant<std::monostate, double, bool, std::string>>;

/// The arguments that a packet has for each input, the last ones where it has several; alone or in
/// bundles, whose times do not count. Messages to other addresses than "/brannow/NAME", and what is
/// no message, are left out. Puts no trust in the packet.
std::map<std::string, OscArguments> inputsInOscPacket(std::string_view packet);

/// What a port of the type makes of them: a number or a truth value of the first one, a colour of
/// three or four numbers, a point of two, a text. None where they don't suit it.
std::optional<ZQVuoPortValue> valueFromOsc(const OscArguments& arguments, ZQVuoPortType type);

/// Listens on a UDP port for messages to "/brannow/NAME".
class OscInput {
 public:
  /// `where` is "PORT", which only programs of this machine reach, or "ADDRESS:PORT". Throws
  /// Failure when that can't be listened to.
  explicit OscInput(const std::string& where);

  /// "ADDRESS:PORT"; a port that was given as 0 is by now one that the system chose.
  std::string where() const;

  /// What has come since the last call, the last for each input. Of a flood no more than the system
  /// has kept and a bounded part of that is read.
  std::map<std::string, OscArguments> popInputs();

 private:
  platform::FileDescriptor _socket;
};
