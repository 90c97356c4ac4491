// What is skipped in front of names and numbers of a composition file.
#pragma once

#include <string_view>

constexpr std::string_view kWhiteSpace = " \t\n\v\f\r";
