#pragma once

namespace nvimport {

// The status of the file behind a handle of NvImportOpen, 0 where there is none.
int StatusOfOpenFile(long handle);

}  // namespace nvimport
