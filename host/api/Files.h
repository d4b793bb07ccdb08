// The host's files and folders.
#pragma once

#include <cstdint>

#include "host/api/LightweightString.h"
#include "host/api/Ptr.h"

/// One open file. One thread at a time.
class iFile : public iObject {
public:
    /// True while the file is open and can be read.
    virtual bool usable() = 0;
    /// The file's size in bytes; 0 for a file of 4 GiB or more, which this interface cannot serve.
    virtual std::uint32_t size() = 0;
    /// Reads `bytes` bytes from the present position into `buffer`, all of them or none. Non-zero on success; 0 when they
    /// could not all be read, or when `bytes` is 0.
    virtual int read(void* buffer, std::uint32_t bytes) = 0;
};

/// Opens files.
class iFileService {
public:
    enum Flags : unsigned { readOnly = 0 };

    /// The file at `path`, or null when there is none that can be opened.
    virtual Cv::Ptr<iFile> open(const LightweightString<wchar_t>& path, unsigned flags) = 0;

protected:
    ~iFileService() = default;
};

/// The host application's folder, ending in the path separator.
LightweightString<wchar_t> getAppPath();
