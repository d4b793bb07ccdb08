// The console's firmware image file in the host application's folder.
//
// Threads: the console thread. [start]
#pragma once

#include <cstdint>

#include "host/api/LightweightString.h"

/// The image file's name, without folder: empty until a console has been identified. Read it once active() has been true; a
/// start-up that runs again writes it again.
extern LightweightString<wchar_t> m_pgmName;
/// Size in bytes of the image last loaded; 0 after a failed read.
extern std::uint32_t RamFileSize;
/// Check value of the image last loaded (Cv::Utils::calcCRC over all its bytes from 0); 0 after a failed read.
extern std::uint16_t RamFileCRC;

/// Loads the image file `m_pgmName`. True: `image` is a new array of `RamFileSize` bytes, which the caller deletes. False:
/// there is no such file (nothing has changed), or it is empty or could not be read whole (`image` null, size and check
/// value 0). What `image` held before is overwritten. Throws std::bad_alloc with `RamFileSize` already set.
bool LoadRamFile(unsigned char*& image);
