#include "monitor/RamImage.h"

#include "host/api/OS.h"
#include "monitor/Utils.h"

std::uint32_t RamFileSize = 0;
std::uint16_t RamFileCRC = 0;

bool LoadRamFile(unsigned char*& image) {
    const Cv::Ptr<iFile> file = OS().files().open(getAppPath() + m_pgmName, iFileService::readOnly);
    if (!file || !file->usable()) return false;

    RamFileSize = file->size();
    image = new unsigned char[RamFileSize];
    if (RamFileSize == 0 || file->read(image, RamFileSize) == 0) {
        delete[] image;
        image = nullptr;
        RamFileSize = 0;
        RamFileCRC = 0;
        return false;
    }
    RamFileCRC = 0;
    for (std::uint32_t i = 0; i < RamFileSize; ++i) RamFileCRC = Cv::Utils::calcCRC(RamFileCRC, image[i]);
    return true;
}
