#include "benchmarks/Measured.h"

#include <json-c/json.h>

#include <chrono>
#include <cstdio>
#include <memory>

#include "platform/system/JsonOwner.h"

void print(const Row& row, const Figures& figures) {
  const platform::JsonOwner line(json_object_new_object());
  const auto add = [&](const char* key, json_object* value) {
    json_object_object_add(line.get(), key, value);
  };
  add("what", json_object_new_string(row.what.c_str()));
  add("unit", json_object_new_string(row.unit.c_str()));
  add("subject", json_object_new_string(figures.subject.c_str()));
  if (figures.mostTimes) add("mostTimes", json_object_new_double(*figures.mostTimes));
  if (figures.most) add("most", json_object_new_double(*figures.most));
  json_object* samples = json_object_new_array();
  for (const double sample : figures.samples)
    json_object_array_add(samples, json_object_new_double(sample));
  add("samples", samples);
  std::printf("%s\n", json_object_to_json_string_ext(line.get(), JSON_C_TO_STRING_PLAIN));
  std::fflush(stdout);
}

void compare(const Row& row, const std::vector<Subject>& subjects, int rounds) {
  std::vector<Figures> figures;
  for (const Subject& subject : subjects) {
    subject.sample();
    figures.push_back({subject.name, {}, subject.mostTimes, subject.most});
  }
  for (int round = 0; round < rounds; ++round)
    for (std::size_t i = 0; i < subjects.size(); ++i)
      figures[i].samples.push_back(subjects[i].sample());
  for (const Figures& of : figures) print(row, of);
}

double milliseconds(const std::function<void()>& work) {
  const auto begin = std::chrono::steady_clock::now();
  work();
  return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - begin)
      .count();
}
