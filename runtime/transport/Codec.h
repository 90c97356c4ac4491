// From a struct to the bytes that travel, and back, by one description of the struct: the list of
// its members. Both ends run on one machine, so numbers travel as they lie in memory.
#pragma once

#include <cstdint>
#include <cstring>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <tuple>
#include <type_traits>
#include <utility>
#include <variant>
#include <vector>

#include "runtime/Limits.h"

namespace vuo {

/// The other end has said what can't be said, or can't be said now.
struct ProtocolError : std::runtime_error {
  using std::runtime_error::runtime_error;
};

/// The description: pointers to the members, in the order in which they travel.
template <class Struct>
constexpr auto membersOf = Struct::members;

/// An enumeration's last value; they are counted from 0.
template <class Enum>
constexpr Enum lastOf = Enum::Last;

class Encoder {
 public:
  std::string release() { return std::move(_bytes); }

  template <class Number>
  std::enable_if_t<std::is_arithmetic_v<Number> || std::is_enum_v<Number>> put(Number number) {
    _bytes.append(reinterpret_cast<const char*>(&number), sizeof number);
  }
  void put(const std::string& text) {
    put(static_cast<std::uint32_t>(text.size()));
    _bytes.append(text);
  }
  template <class Item>
  void put(const std::vector<Item>& items) {
    put(static_cast<std::uint32_t>(items.size()));
    for (const Item& item : items) put(item);
  }
  template <class... Alternatives>
  void put(const std::variant<Alternatives...>& value) {
    static_assert(sizeof...(Alternatives) <= 256);
    put(static_cast<std::uint8_t>(value.index()));
    std::visit([this](const auto& alternative) { this->put(alternative); }, value);
  }
  void put(std::monostate) {}
  template <class Struct>
  std::enable_if_t<std::is_class_v<Struct>> put(const Struct& value) {
    std::apply([&](auto... members) { (put(value.*members), ...); }, membersOf<Struct>);
  }

 private:
  std::string _bytes;
};

/// Throws ProtocolError where the bytes are none that an encoder makes. Allocates no more than a
/// small multiple of their number.
class Decoder {
 public:
  explicit Decoder(std::string_view bytes) : _rest(bytes) {}

  template <class Value>
  Value read() {
    Value value{};
    get(value);
    return value;
  }
  void requireEnd() const {
    if (!_rest.empty()) throw ProtocolError("it sent a message with more in it than belongs there");
  }

 private:
  template <class Number>
  std::enable_if_t<std::is_arithmetic_v<Number> || std::is_enum_v<Number>> get(Number& number) {
    if constexpr (std::is_same_v<Number, bool>) {
      number = below(2) != 0;
    } else if constexpr (std::is_enum_v<Number>) {
      using Plain = std::underlying_type_t<Number>;
      number = static_cast<Number>(read<Plain>());
      if (number < Number{} || number > lastOf<Number>)
        throw ProtocolError("it sent a value that its kind does not have");
    } else {
      std::memcpy(&number, bytes(sizeof number).data(), sizeof number);
    }
  }
  void get(std::string& text) { text = bytes(read<std::uint32_t>()); }
  template <class Item>
  void get(std::vector<Item>& items) {
    const auto count = read<std::uint32_t>();
    if (count > mostListed || count > _rest.size())
      throw ProtocolError("it sent a list of " + std::to_string(count) + " entries");
    items.reserve(count);
    for (std::uint32_t i = 0; i < count; ++i) items.push_back(read<Item>());
  }
  template <class... Alternatives>
  void get(std::variant<Alternatives...>& value) {
    using Variant = std::variant<Alternatives...>;
    using Take = Variant (*)(Decoder&);
    static constexpr Take takes[] = {
        [](Decoder& from) { return Variant(from.read<Alternatives>()); }...};
    value = takes[below(sizeof...(Alternatives))](*this);
  }
  void get(std::monostate&) {}
  template <class Struct>
  std::enable_if_t<std::is_class_v<Struct>> get(Struct& value) {
    std::apply([&](auto... members) { (get(value.*members), ...); }, membersOf<Struct>);
  }

  std::size_t below(std::size_t end) {
    const auto number = static_cast<std::uint8_t>(bytes(1).front());
    if (number >= end) throw ProtocolError("it sent what is of no known kind");
    return number;
  }
  std::string_view bytes(std::size_t count) {
    if (count > _rest.size()) throw ProtocolError("it sent a message that breaks off");
    const std::string_view taken = _rest.substr(0, count);
    _rest.remove_prefix(count);
    return taken;
  }

  std::string_view _rest;
};

template <class Value>
std::string encoded(const Value& value) {
  Encoder encoder;
  encoder.put(value);
  return encoder.release();
}

/// Throws ProtocolError.
template <class Value>
Value decoded(std::string_view bytes) {
  Decoder decoder(bytes);
  Value value = decoder.read<Value>();
  decoder.requireEnd();
  return value;
}

}  // namespace vuo
