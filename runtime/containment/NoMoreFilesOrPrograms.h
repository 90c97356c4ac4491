#pragma once

namespace vuo {

/// For a contained program that has done what it has to do before it reads what a stranger wrote:
/// from now on no thread of it creates a file, starts another program or makes a process, ever.
/// Where the kernel has no such filters nothing happens.
void noMoreFilesOrPrograms();

}  // namespace vuo
