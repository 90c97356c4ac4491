#pragma once

#include <string>
#include <vector>

/// The picture files that `input` stands for, in order: the file itself, the PNG files of a folder
/// in natural order ("f2.png" before "f10.png"), or the files of a numbered pattern ("%d", "%04d")
/// from the first number that exists (0 or 1) to the last one before a gap. Empty when there is
/// none.
std::vector<std::string> picturesNamed(const std::string& input);

/// Whether the name is one of a PNG file, in any case of letters.
bool isPictureName(const std::string& name);
