/* volume.cpp - data volumes for the platform core: the mount points listed
 * in the root's volumes.conf, their free space by statvfs, and the choice
 * of the first one with room. */
#include "vurofs.h"

#include <errno.h>
#include <stdio.h>
#include <string.h>
#include <sys/stat.h>
#include <sys/statvfs.h>

#include <fstream>
#include <string>
#include <vector>

namespace {

struct VolumeEntry {
    std::string mountpoint;
    bool readOnly = false;
};

const char kBlanks[] = " \t\r";

/* false only when the list exists and cannot be read; no list is no volume. */
bool volumesRead(std::vector<VolumeEntry>* pOut) {
    std::string path = VUROSysPathStr(VUROFS_VOLUMES_CONF);
    std::ifstream in(path);
    if (!in) {
        struct stat st;
        return stat(path.c_str(), &st) != 0 && errno == ENOENT;
    }
    std::string line;
    while (std::getline(in, line)) {
        size_t begin = line.find_first_not_of(kBlanks);
        if (begin == std::string::npos || line[begin] == '#') continue;
        size_t end = line.find_first_of(kBlanks, begin);
        VolumeEntry e;
        e.mountpoint =
            line.substr(begin, end == std::string::npos ? std::string::npos : end - begin);
        while (e.mountpoint.size() > 1 && e.mountpoint.back() == '/') e.mountpoint.pop_back();
        if (end != std::string::npos) {
            size_t flagBegin = line.find_first_not_of(kBlanks, end);
            size_t flagEnd = line.find_first_of(kBlanks, flagBegin);
            e.readOnly =
                flagBegin != std::string::npos &&
                line.substr(flagBegin, flagEnd == std::string::npos ? std::string::npos
                                                                    : flagEnd - flagBegin) == "ro";
        }
        if (e.mountpoint[0] == '/') pOut->push_back(e);
    }
    return !in.bad();
}

/* fn over the volumes of volumes.conf, read whole; -1 with the error store
 * set when the file cannot be read or memory runs out. */
template <class Fn>
int withVolumes(Fn fn) {
    try {
        std::vector<VolumeEntry> volumes;
        if (!volumesRead(&volumes)) {
            QLIBCErrSetEx(ERR_OPEN_FAILED, __FILE__, __LINE__);
            return -1;
        }
        return fn(volumes);
    } catch (...) {
        QLIBCErrSetEx(ERR_OUT_OF_MEMORY, __FILE__, __LINE__);
        return -1;
    }
}

}  // namespace

int VolumeAvailGet(unsigned long long minBytes, VOLUME_INFO* pInfo, int* pStatus, int flag) {
    if (pInfo == NULL || pStatus == NULL) {
        QLIBCErrSetEx(ERR_BAD_PARAMETERS, __FILE__, __LINE__);
        return -1;
    }
    return withVolumes([&](const std::vector<VolumeEntry>& volumes) {
        int status = 0;
        const VolumeEntry* pChosen = NULL;
        unsigned long long chosenAvail = 0, chosenTotal = 0;
        bool chosenWriteable = false;
        for (const VolumeEntry& v : volumes) {
            struct statvfs vfs;
            struct stat st;
            std::string real = VUROSysPathStr(v.mountpoint);
            if (stat(real.c_str(), &st) != 0 || !S_ISDIR(st.st_mode) ||
                statvfs(real.c_str(), &vfs) != 0) {
                continue;
            }
            status |= VOLUME_STATUS_FOUND;
            unsigned long long avail = (unsigned long long)vfs.f_bavail * vfs.f_frsize;
            if (avail < minBytes) continue;
            bool writeable = !v.readOnly && (vfs.f_flag & ST_RDONLY) == 0;
            if (pChosen == NULL || (!chosenWriteable && writeable)) {
                pChosen = &v;
                chosenAvail = avail;
                chosenTotal = (unsigned long long)vfs.f_blocks * vfs.f_frsize;
                chosenWriteable = writeable;
            }
            if (chosenWriteable || (flag & VOLUME_AVAIL_PREFER_WRITEABLE) == 0) break;
        }
        if (pChosen == NULL) {
            if (status & VOLUME_STATUS_FOUND) status |= VOLUME_STATUS_NO_SPACE;
            *pStatus = status;
            return 0;
        }
        memset(pInfo, 0, sizeof(*pInfo));
        snprintf(pInfo->svi_mountpoint, sizeof(pInfo->svi_mountpoint), "%s",
                 pChosen->mountpoint.c_str());
        pInfo->svi_writeable = chosenWriteable ? 1 : 0;
        pInfo->svi_avail_bytes = chosenAvail;
        pInfo->svi_total_bytes = chosenTotal;
        *pStatus = status;
        return 0;
    });
}

int VolumeListGet(PQLIBSZLIST* ppList) {
    if (ppList == NULL) {
        QLIBCErrSetEx(ERR_BAD_PARAMETERS, __FILE__, __LINE__);
        return -1;
    }
    return withVolumes([&](const std::vector<VolumeEntry>& volumes) {
        for (const VolumeEntry& v : volumes) {
            if (QLIBCSzListPush(ppList, v.mountpoint.c_str()) < 0) return -1;
        }
        return static_cast<int>(volumes.size());
    });
}
