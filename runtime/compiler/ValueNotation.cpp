#include "runtime/compiler/ValueNotation.h"

#include <json-c/json.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string_view>

#include "platform/system/JsonOwner.h"

namespace vuo {
namespace {

[[noreturn]] void noValue(const std::string& text, const std::string& what) {
  throw std::runtime_error("\"" + text + "\" is no " + what);
}

/// Takes a number off the front of the text.
std::optional<double> consumeNumber(std::string_view& text) {
  std::string_view digits = text;
  if (digits.starts_with('+') && !digits.starts_with("+-")) digits.remove_prefix(1);
  double number = 0;
  const auto end = std::from_chars(digits.data(), digits.data() + digits.size(), number);
  if (end.ec != std::errc() || !std::isfinite(number)) return std::nullopt;
  text.remove_prefix(static_cast<std::size_t>(end.ptr - text.data()));
  return number;
}

template <typename Number>
std::string textOf(Number number) {
  char digits[32];
  return {digits, std::to_chars(digits, digits + sizeof digits, number).ptr};
}

std::string realConstant(const std::string& text) {
  std::string_view rest = text;
  const auto number = consumeNumber(rest);
  if (!number || !rest.empty()) noValue(text, "number");
  return textOf(*number);
}

std::string integerConstant(const std::string& text) {
  constexpr double largest = 9007199254740992.0;  // up to here a double holds every whole number
  std::string_view rest = text;
  const auto number = consumeNumber(rest);
  if (!number || !rest.empty() || *number != std::trunc(*number) || std::abs(*number) > largest)
    noValue(text, "whole number");
  return textOf(static_cast<std::int64_t>(*number));
}

std::string booleanConstant(const std::string& text) {
  if (text != "true" && text != "false") noValue(text, "boolean, which is true or false");
  return text;
}

bool consume(std::string_view& text, char expected) {
  if (!text.starts_with(expected)) return false;
  text.remove_prefix(1);
  return true;
}

/// "{r:1,g:0}" with "rg" gives {"r":1,"g":0}; none when the text has another form.
std::optional<std::string> tuple(std::string text, std::string_view keys) {
  std::erase(text, ' ');
  std::transform(text.begin(), text.end(), text.begin(),
                 [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c; });
  std::string_view rest = text;
  std::string json;
  for (const char key : keys) {
    if (!consume(rest, json.empty() ? '{' : ',') || !consume(rest, key) || !consume(rest, ':'))
      return {};
    const auto number = consumeNumber(rest);
    if (!number) return {};
    json += (json.empty() ? "{\"" : ",\"") + std::string(1, key) + "\":" + textOf(*number);
  }
  if (rest != "}") return {};
  return json + "}";
}

std::string colorConstant(const std::string& text) {
  const auto json = tuple(text, "rgba");
  if (!json) noValue(text, "color, which is written {r:1,g:0.5,b:0,a:1}");
  return *json;
}

std::string pointConstant(const std::string& text) {
  const auto json = tuple(text, "xy");
  if (!json) noValue(text, "point, which is written {x:0.5,y:0.5}");
  return *json;
}

std::string textConstant(const std::string& text) {
  const platform::JsonOwner value(
      json_object_new_string_len(text.data(), static_cast<int>(text.size())));
  return json_object_to_json_string_ext(value.get(), JSON_C_TO_STRING_PLAIN);
}

}  // namespace

std::string constantFromNotation(Type type, const std::string& text) {
  switch (type) {
    case Type::Real:
      return realConstant(text);
    case Type::Integer:
      return integerConstant(text);
    case Type::Boolean:
      return booleanConstant(text);
    case Type::Color:
      return colorConstant(text);
    case Type::Point2d:
      return pointConstant(text);
    case Type::Text:
      return textConstant(text);
    case Type::Image:
      break;
  }
  throw std::runtime_error("an image can't be written as a value");
}

std::string constantOfUntouchedPort(Type type) {
  switch (type) {
    case Type::Real:
    case Type::Integer:
      return "0";
    case Type::Boolean:
      return "false";
    case Type::Color:
      return colorConstant("{r:0,g:0,b:0,a:0}");
    case Type::Point2d:
      return pointConstant("{x:0,y:0}");
    case Type::Text:
      return textConstant("");
    case Type::Image:
      break;
  }
  return "";
}

}  // namespace vuo
