// What `--help` and the parser's complaints say, in words instead of the parser's types.
#pragma once

#include <CLI/CLI.hpp>
#include <map>
#include <memory>
#include <string>

#include "host/ShortestDigits.h"

/// What follows the name of an option. A flag has nothing.
inline const std::map<std::string, std::string> argumentsOfOptions{
    {"--cache", "DIR"},        {"--display", "N"},        {"--format", "y4m or rgba"},
    {"--fps", "RATE"},         {"--frames", "N"},         {"--image", "NAME=FILE.png"},
    {"--input", "IN"},         {"--osc", "PORT"},         {"--output", "OUT"},
    {"--output-display", "N"}, {"--preset", "FILE"},      {"--print", "NAME"},
    {"--record", "FILE"},      {"--set", "NAME=VALUE"},   {"--size", "WIDTHxHEIGHT"},
    {"--start", "SECONDS"},    {"--template", "FILE.so"}, {"--timeout", "SECONDS"},
};

/// Shows that text and nothing that the parser makes up.
class HelpText : public CLI::Formatter {
 public:
  HelpText() { column_width(32); }

  std::string make_option_opts(const CLI::Option* option) const override {
    const std::string& text = option->get_option_text();
    return text.empty() ? text : " " + text;
  }

  std::string make_option_desc(const CLI::Option* option) const override {
    const std::string value = option->get_default_str();
    return option->get_description() + (value.empty() ? "" : " (default " + value + ")");
  }
};

/// For the command and its subcommands. Call it when all options are there.
inline void describeArguments(CLI::App& command) {
  command.formatter(std::make_shared<HelpText>());
  for (CLI::Option* option : command.get_options()) {
    const auto known = argumentsOfOptions.find(option->get_name());
    if (known != argumentsOfOptions.end()) option->option_text(known->second);
  }
  for (CLI::App* sub : command.get_subcommands({})) describeArguments(*sub);
}

/// Accepts a time in that range, in which no "nan" lies.
inline CLI::Validator secondsFrom(double least, double most) {
  return CLI::Validator(
      [least, most](std::string& text) {
        double seconds = 0;
        const bool fits =
            CLI::detail::lexical_cast(text, seconds) && seconds >= least && seconds <= most;
        return fits ? std::string()
                    : "needs seconds from " + shortestDigits(least) + " to " + shortestDigits(most);
      },
      "");
}

/// Accepts one of several words and stands for its value; says which there are where it is another.
template <typename Value>
CLI::Validator oneOf(const std::map<std::string, Value>& words) {
  return CLI::Validator(
      [words](std::string& text) {
        const auto known = words.find(text);
        if (known != words.end()) {
          text = std::to_string(static_cast<int>(known->second));
          return std::string();
        }
        std::string choice;
        for (const auto& [word, value] : words) choice += (choice.empty() ? "" : " or ") + word;
        return "needs " + choice;
      },
      "");
}
