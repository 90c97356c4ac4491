// Turns a composition file into something that runs. Needs no compiler and no linker of the
// system's.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "Brannow/CompositionCheck.h"

/// Operations throw std::runtime_error with a message for the composition's author: a line for each
/// error, with the file, the place in it, and what is wrong. One object per compile; separate
/// objects share nothing.
///
/// What a composition's author wrote is read by a program of the runtime's, not in this process. A
/// compile may use 10 s of processor time, 20 s in all, 1 GiB of memory, and its plan 128 MiB. A
/// compile that goes beyond, or on which that program ends by itself, is a fault like any other.
class VuoCompiler {
 public:
  enum Optimization {
    Optimization_FastBuild = 0,
    Optimization_SmallBinary = 1,
    Optimization_FastRun = 2
  };

  VuoCompiler();
  ~VuoCompiler();

  /// What is wrong with the composition, warnings included. Keeps nothing and never throws.
  static std::vector<brannow::CompositionFault> faultsOf(const std::string& compositionPath);

  /// Reads and checks the composition and makes its ordered plan, which this object keeps under the
  /// name `bitcodePath`. Blocks until then. The plan is also left at that path, for people to look
  /// at; nothing is made from that file, and where another user has a file there, or another
  /// process of this user's replaces it, nothing else is lost. One that is a day old is removed.
  void compileComposition(std::string compositionPath, std::string bitcodePath);

  /// The files that the composition named which this object compiled last, also where that failed.
  const std::vector<std::string>& filesNamed() const { return _filesNamed; }

  /// Makes a file that the runtime runs inside this process, from what this object compiled to
  /// `bitcodePath`. It is flushed to the disk and appears at `libraryPath` whole, in place of an
  /// older one that may still be running.
  void linkCompositionToCreateDynamicLibrary(std::string bitcodePath, std::string libraryPath,
                                             Optimization optimization);
  /// Makes an executable in the same way: a script, for which the runtime's player is the program.
  /// `isExported` makes no difference here and `rPath` must be empty.
  void linkCompositionToCreateExecutable(std::string bitcodePath, std::string executablePath,
                                         Optimization optimization, bool isExported,
                                         std::string rPath);

 private:
  const std::string& planMadeAs(const std::string& bitcodePath) const;

  std::map<std::string, std::string> _plans;  ///< by the path that each was compiled to
  std::vector<std::string> _filesNamed;
};
