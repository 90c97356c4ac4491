// Turns a composition file into something that runs. Needs no compiler and no linker.
#pragma once

#include <string>

/// Operations throw std::runtime_error with a message for the composition's author: the file, the
/// line or node, and what is wrong. One object per compile; separate objects share nothing.
class VuoCompiler {
 public:
  enum Optimization {
    Optimization_FastBuild = 0,
    Optimization_SmallBinary = 1,
    Optimization_FastRun = 2
  };

  VuoCompiler();
  ~VuoCompiler();

  /// Reads and checks the composition and writes its ordered plan to `bitcodePath`. The file is
  /// never written through a link and never into a file that another user owns.
  void compileComposition(std::string compositionPath, std::string bitcodePath);

  /// Makes a shared object from the plan. The file appears at `libraryPath` whole, in place of an
  /// older one that may still be running.
  void linkCompositionToCreateDynamicLibrary(std::string bitcodePath, std::string libraryPath,
                                             Optimization optimization);
  /// Makes an executable from the plan, in the same way. `isExported` makes no difference here and
  /// `rPath` must be empty.
  void linkCompositionToCreateExecutable(std::string bitcodePath, std::string executablePath,
                                         Optimization optimization, bool isExported,
                                         std::string rPath);
};
