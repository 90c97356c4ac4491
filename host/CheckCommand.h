#pragma once

#include <string>
#include <vector>

/// `brannow check`: writes what is wrong with each composition to standard output, a line for each
/// fault or a line of JSON for each file. The result is the exit status: 1 when a composition can't
/// run, 2 when the worst are warnings.
int check(const std::vector<std::string>& files, bool json);
