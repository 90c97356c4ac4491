#pragma once

#include <string>
#include <vector>

/// `brannow describe`: writes what each file says of itself to standard output, in the order given;
/// a table for people or one line of JSON. What could not be read goes to standard error, with the
/// number of its line. The result is the exit status: 1 when a file can't be read, 2 when the worst
/// is that something in one can't.
int describe(const std::vector<std::string>& files, bool json);
