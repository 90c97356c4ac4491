#pragma once

#include <string>

#include "Brannow/ZQVuoCompositionProblem.h"

/// "FILE:LINE: what is wrong" with the line's end, as compilers do.
std::string shownProblem(const ZQVuoCompositionProblem& problem, const std::string& file);

/// Whether nothing of the file could be read.
bool isOfWholeFile(const ZQVuoCompositionProblem& problem);
