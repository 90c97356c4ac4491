// What words are made of, in shaders, expressions and what is said about them.
#pragma once

#include <cctype>

namespace vuo {

inline bool isWord(char c) {
  return std::isalnum(static_cast<unsigned char>(c)) || c == '_';
}

}  // namespace vuo
