// Makes one table of the lines that the measuring programs print, read from standard input.
//   bench-table [FILE.json]
// What misses its target is marked. A ratio is ours through the other's, round by round.
#include <json-c/json.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/system/JsonOwner.h"

namespace {

struct Spread {
  double low, median, high;  ///< the quartiles
};

Spread spreadOf(std::vector<double> samples) {
  std::sort(samples.begin(), samples.end());
  const auto at = [&](double part) {
    const double place = part * static_cast<double>(samples.size() - 1);
    const auto below = static_cast<std::size_t>(place);
    const std::size_t above = std::min(below + 1, samples.size() - 1);
    return samples[below] +
           (place - static_cast<double>(below)) * (samples[above] - samples[below]);
  };
  return {at(0.25), at(0.5), at(0.75)};
}

struct Subject {
  std::string name;
  std::vector<double> samples;
  std::optional<double> mostTimes, most;
};

struct Row {
  std::string what, unit;
  std::vector<Subject> subjects;  ///< ours stands first
};

json_object* member(json_object* object, const char* key) {
  json_object* value = nullptr;
  json_object_object_get_ex(object, key, &value);
  return value;
}

std::optional<double> numberIn(json_object* object, const char* key) {
  json_object* value = member(object, key);
  return value ? std::optional(json_object_get_double(value)) : std::nullopt;
}

void add(std::vector<Row>& rows, json_object* line) {
  const std::string what = json_object_get_string(member(line, "what"));
  auto row = std::find_if(rows.begin(), rows.end(), [&](const Row& r) { return r.what == what; });
  if (row == rows.end())
    row = rows.insert(rows.end(), {what, json_object_get_string(member(line, "unit")), {}});
  Subject subject{json_object_get_string(member(line, "subject")),
                  {},
                  numberIn(line, "mostTimes"),
                  numberIn(line, "most")};
  json_object* samples = member(line, "samples");
  for (std::size_t i = 0; i < json_object_array_length(samples); ++i)
    subject.samples.push_back(json_object_get_double(json_object_array_get_idx(samples, i)));
  if (subject.samples.empty()) {
    std::cerr << what << ": there is nothing of " << subject.name << "\n";
    std::exit(1);
  }
  row->subjects.push_back(std::move(subject));
}

std::optional<Spread> ratioTo(const Subject& ours, const Subject& other) {
  if (&ours == &other) return std::nullopt;
  if (ours.samples.size() != other.samples.size()) {
    std::cerr << "the samples of " << other.name << " have no partners\n";
    std::exit(1);
  }
  std::vector<double> ratios;
  for (std::size_t i = 0; i < ours.samples.size(); ++i)
    ratios.push_back(ours.samples[i] / other.samples[i]);
  return spreadOf(ratios);
}

std::string figure(double value, const std::string& unit = "") {
  char text[32];
  std::snprintf(text, sizeof text, "%.*f",
                value >= 100  ? 0
                : value >= 10 ? 1
                : value >= 1  ? 2
                              : 3,
                value);
  return unit.empty() ? text : text + (" " + unit);
}

std::string marked(double value, double most, const char* unit) {
  return "at most " + figure(most) + unit + (value <= most ? "" : "  MISSED");
}

std::string line(const std::string& name, const std::string& median, const std::string& spread,
                 const std::string& ratio, const std::string& target) {
  char text[256];
  std::snprintf(text, sizeof text, "%-46s %11s  %-19s %6s  %s", name.c_str(), median.c_str(),
                spread.c_str(), ratio.c_str(), target.c_str());
  const std::string whole = text;
  return whole.substr(0, whole.find_last_not_of(' ') + 1) + "\n";
}

std::string line(const Row& row, const Subject& subject) {
  const Spread spread = spreadOf(subject.samples);
  const auto ratio = ratioTo(row.subjects.front(), subject);
  std::string target;
  if (subject.most) target = marked(spread.median, *subject.most, "");
  if (subject.mostTimes && ratio) target = marked(ratio->median, *subject.mostTimes, " times");
  return line("  " + subject.name, figure(spread.median, row.unit),
              figure(spread.low) + " to " + figure(spread.high), ratio ? figure(ratio->median) : "",
              target);
}

platform::JsonOwner jsonOf(const Row& row, const Subject& subject) {
  platform::JsonOwner object(json_object_new_object());
  const auto number = [&](const char* key, std::optional<double> value) {
    if (value) json_object_object_add(object.get(), key, json_object_new_double(*value));
  };
  const auto text = [&](const char* key, const std::string& value) {
    json_object_object_add(object.get(), key, json_object_new_string(value.c_str()));
  };
  const Spread spread = spreadOf(subject.samples);
  const auto ratio = ratioTo(row.subjects.front(), subject);
  text("what", row.what);
  text("subject", subject.name);
  text("unit", row.unit);
  number("median", spread.median);
  number("lowerQuartile", spread.low);
  number("upperQuartile", spread.high);
  number("oursThroughIt", ratio ? std::optional(ratio->median) : std::nullopt);
  number("ratioAtMost", subject.mostTimes);
  number("atMost", subject.most);
  json_object* samples = json_object_new_array();
  for (const double sample : subject.samples)
    json_object_array_add(samples, json_object_new_double(sample));
  json_object_object_add(object.get(), "samples", samples);
  return object;
}

bool writeJson(const std::vector<Row>& rows, const char* file) {
  const platform::JsonOwner all(json_object_new_array());
  for (const Row& row : rows)
    for (const Subject& subject : row.subjects)
      json_object_array_add(all.get(), jsonOf(row, subject).release());
  return json_object_to_file_ext(file, all.get(), JSON_C_TO_STRING_PRETTY) == 0;
}

}  // namespace

int main(int count, char** arguments) {
  std::vector<Row> rows;
  for (std::string text; std::getline(std::cin, text);) {
    const platform::JsonOwner object(json_tokener_parse(text.c_str()));
    if (object) add(rows, object.get());
  }
  std::cout << line("", "median", "quartiles", "ratio", "target");
  for (const Row& row : rows) {
    std::cout << row.what << "\n";
    for (const Subject& subject : row.subjects) std::cout << line(row, subject);
  }
  if (count > 1 && !writeJson(rows, arguments[1])) {
    std::cerr << arguments[1] << " can't be written\n";
    return 1;
  }
  return rows.empty() ? 1 : 0;
}
