#include "host/view/OscInput.h"

#include <arpa/inet.h>
#include <lo/lo.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <array>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <memory>

#include "host/Failure.h"
#include "host/NumberFromText.h"

namespace {

constexpr std::string_view kOurs = "/brannow/";
constexpr std::string_view kBundle("#bundle\0", 8);
constexpr std::size_t kBundleHead = 16, kLargestPacket = 65536;
constexpr int kDeepestBundle = 4, kMostPackets = 256;

using Inputs = std::map<std::string, OscArguments>;

using Message = std::unique_ptr<void, decltype(&lo_message_free)>;

OscArguments::value_type argumentFrom(char type, lo_arg* argument) {
  switch (type) {
    case LO_TRUE:
    case LO_FALSE:
      return type == LO_TRUE;
    case LO_STRING:
    case LO_SYMBOL:
      // Arguments lie at multiples of 4, where not every lo_arg may.
      return std::string(reinterpret_cast<const char*>(argument));
    default:
      if (!lo_is_numerical_type(static_cast<lo_type>(type))) return std::monostate();
      return static_cast<double>(lo_hires_val(static_cast<lo_type>(type), argument));
  }
}

void readMessage(std::string_view bytes, Inputs& inputs) {
  if (!bytes.starts_with(kOurs)) return;
  std::string copy(bytes);  // liblo turns the numbers round in it
  const Message message(lo_message_deserialise(copy.data(), copy.size(), nullptr),
                        &lo_message_free);
  if (!message) return;
  const std::string name(bytes.data() + kOurs.size());  // it ends, since it was a message
  OscArguments& arguments = inputs[name];
  arguments.clear();
  const std::string_view types = lo_message_get_types(message.get());
  for (std::size_t i = 0; i < types.size(); ++i)
    arguments.push_back(argumentFrom(types[i], lo_message_get_argv(message.get())[i]));
}

void readPacket(std::string_view bytes, int depth, Inputs& inputs) {
  if (!bytes.starts_with(kBundle)) return readMessage(bytes, inputs);
  if (depth == kDeepestBundle || bytes.size() < kBundleHead) return;
  bytes.remove_prefix(kBundleHead);
  std::uint32_t size = 0;
  while (bytes.size() >= sizeof size) {
    std::memcpy(&size, bytes.data(), sizeof size);
    size = ntohl(size);
    bytes.remove_prefix(sizeof size);
    if (size > bytes.size()) return;
    readPacket(bytes.substr(0, size), depth + 1, inputs);
    bytes.remove_prefix(size);
  }
}

std::optional<double> numberIn(const OscArguments::value_type& argument) {
  if (const auto* number = std::get_if<double>(&argument)) return *number;
  if (const auto* truth = std::get_if<bool>(&argument)) return *truth ? 1 : 0;
  return std::nullopt;
}

/// All of them; none where one is no number.
std::optional<std::vector<double>> numbersIn(const OscArguments& arguments) {
  std::vector<double> numbers;
  for (const auto& argument : arguments) {
    const auto number = numberIn(argument);
    if (!number) return std::nullopt;
    numbers.push_back(*number);
  }
  return numbers;
}

sockaddr_in addressFrom(const std::string& where) {
  const auto colon = where.rfind(':');
  const auto port =
      numberFromText<std::uint16_t>(colon == std::string::npos ? where : where.substr(colon + 1));
  const std::string host = colon == std::string::npos ? "127.0.0.1" : where.substr(0, colon);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  if (!port || inet_pton(AF_INET, host.c_str(), &address.sin_addr) != 1)
    throw Failure{"--osc " + where + ": needs a port such as 9000, or 0.0.0.0:9000"};
  address.sin_port = htons(*port);
  return address;
}

}  // namespace

std::map<std::string, OscArguments> inputsInOscPacket(std::string_view packet) {
  Inputs inputs;
  readPacket(packet, 0, inputs);
  return inputs;
}

std::optional<ZQVuoPortValue> valueFromOsc(const OscArguments& arguments, ZQVuoPortType type) {
  if (arguments.empty()) return std::nullopt;
  const auto* text = std::get_if<std::string>(&arguments.front());
  if (type == ZQVuoPortType_Text) return text ? std::optional<ZQVuoPortValue>(*text) : std::nullopt;
  const auto numbers = numbersIn(arguments);
  if (!numbers) return std::nullopt;
  const auto& n = *numbers;
  switch (type) {
    case ZQVuoPortType_Real:
      return n[0];
    case ZQVuoPortType_Integer:
      return ZQVuoPortValue(n[0]).longLongValue().value_or(0);
    case ZQVuoPortType_Boolean:
      return n[0] != 0;
    case ZQVuoPortType_Color:
      if (n.size() != 3 && n.size() != 4) return std::nullopt;
      return ZQVuoColor{n[0], n[1], n[2], n.size() == 4 ? n[3] : 1};
    case ZQVuoPortType_Point2D:
      if (n.size() != 2) return std::nullopt;
      return ZQVuoPoint{n[0], n[1]};
    default:
      return std::nullopt;
  }
}

OscInput::OscInput(const std::string& where)
    : _socket(::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0)) {
  const sockaddr_in address = addressFrom(where);
  if (!_socket ||
      ::bind(_socket.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0)
    throw Failure{"--osc " + where + ": " + std::strerror(errno)};
}

std::string OscInput::where() const {
  sockaddr_in address{};
  socklen_t size = sizeof address;
  ::getsockname(_socket.get(), reinterpret_cast<sockaddr*>(&address), &size);
  char text[INET_ADDRSTRLEN] = "";
  inet_ntop(AF_INET, &address.sin_addr, text, sizeof text);
  return std::string(text) + ":" + std::to_string(ntohs(address.sin_port));
}

std::map<std::string, OscArguments> OscInput::popInputs() {
  Inputs inputs;
  std::array<char, kLargestPacket> packet;
  for (int i = 0; i < kMostPackets; ++i) {
    const ssize_t size = ::recv(_socket.get(), packet.data(), packet.size(), 0);
    if (size < 0) break;
    readPacket({packet.data(), static_cast<std::size_t>(size)}, 0, inputs);
  }
  return inputs;
}
