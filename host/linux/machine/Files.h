// The host's files.
#pragma once

#include "host/api/Files.h"

namespace cvhost {

/// Opens regular files for reading and nothing else: a folder, a device or a pipe is answered with null. Any thread.
class FileService final : public iFileService {
public:
    Cv::Ptr<iFile> open(const LightweightString<wchar_t>& path, unsigned flags) override;
};

}  // namespace cvhost
