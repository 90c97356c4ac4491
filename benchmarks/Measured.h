// What is measured, and how it leaves the program that measures it: as lines of JSON on standard
// output, one for each subject of a row, which `bench-table` turns into the table.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

/// One row of the table.
struct Row {
  std::string what;
  std::string unit;  ///< of the samples
};

/// The figures of one subject: the framework, the limit that it is held against, or a peer.
struct Figures {
  std::string subject;
  std::vector<double> samples;
  /// Ours may be at most this many times this subject's figure.
  std::optional<double> mostTimes;
  /// Ours may be at most this much; for a target that needs no other subject.
  std::optional<double> most;
};

void print(const Row& row, const Figures& figures);

/// Something that takes one sample each time it is called.
struct Subject {
  std::string name;
  std::function<double()> sample;
  std::optional<double> mostTimes;
  std::optional<double> most;
};

/// Prints the row's lines, from samples that are taken of each subject in turn. What a subject
/// returns first is dropped. The first subject is ours.
void compare(const Row& row, const std::vector<Subject>& subjects, int rounds);

/// The wall time of the work in milliseconds.
double milliseconds(const std::function<void()>& work);
