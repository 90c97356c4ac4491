#pragma once

#include <string>

/// `brannow cache list`: one row, or one line of JSON, for each record that the cache's files hold:
/// what kind of artefact, of which composition, where, and whether it could be used as it is. Reads
/// only. The result is the exit status.
int listCache(const std::string& cacheFolder, bool json);

/// `brannow cache clear`: moves everything that was compiled to the user's trash.
int clearCache(const std::string& cacheFolder);
