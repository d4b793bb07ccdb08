// The host's files.
//
// Threads: any.
#pragma once

#include "host/api/Files.h"

namespace cvhost {

/// Opens regular files for reading and nothing else: the answer to a folder, a device or a pipe is null.
class FileService final : public iFileService {
public:
    Cv::Ptr<iFile> open(const LightweightString<wchar_t>& path, unsigned flags) override;
};

}  // namespace cvhost
