#pragma once

#include <string>
#include <vector>

/// `brannow describe`: writes what each file says of itself to standard output, in the order given;
/// a table for people or one line of JSON. The result is the exit status: 1 when a file can't be
/// read.
int describe(const std::vector<std::string>& files, bool json);
