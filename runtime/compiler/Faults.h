// What a compile finds wrong.
#pragma once

#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "runtime/compiler/CompilerProtocol.h"

namespace vuo {

/// Counted from 1, the column in characters; 0 where there is none.
struct Place {
  int line = 0, column = 0;
};

/// A fault that knows its place, for whoever notes it.
struct FaultAt : std::runtime_error {
  FaultAt(Place at, const std::string& what) : runtime_error(what), place(at) {}
  Place place;
};

/// The step has noted its faults already.
struct FaultsNoted : std::runtime_error {
  FaultsNoted() : runtime_error("faults that were noted") {}
};

/// The faults of one compile. Of a composition that has nothing else the first hundred are kept.
class Faults {
 public:
  void add(Place place, const std::string& what) { addIn("", place, what); }
  /// In a file that the composition names, as it names it.
  void addIn(const std::string& file, Place place, const std::string& what);
  void addWarning(Place place, const std::string& what);

  /// Runs one step and notes the fault that it ends with: at its own place or else at that one,
  /// and behind the title. False when it ended so.
  template <typename Step>
  bool about(Place place, const std::string& title, Step step) {
    try {
      step();
      return true;
    } catch (const FaultsNoted&) {
    } catch (const FaultAt& fault) {
      add(fault.place, title + fault.what());
    } catch (const std::runtime_error& fault) {
      add(place, title + fault.what());
    }
    return false;
  }

  bool areErrors() const { return _errors > 0; }
  /// The composition's own first, each file's by their lines.
  message::FaultList take();

 private:
  void keep(message::CompileFault fault);

  int _errors = 0;
  message::FaultList _list;
};

/// The name that `written` was probably meant to be.
std::optional<std::string> nearestOf(const std::string& written,
                                     const std::vector<std::string>& names);
/// "; did you mean "NAME"?" with that name, or nothing.
std::string didYouMean(const std::string& written, const std::vector<std::string>& names);

/// Whether one is the other in other letters' sizes or but for one letter.
bool isNearly(const std::string& one, const std::string& other);

/// Where the word, or what else is looked for, first stands by itself: in that line, or in the text
/// where none is named. Without a column, or a line, where it does not.
Place placeOf(const std::string& text, const std::string& word, int line = 0);

}  // namespace vuo
