/* serial.cpp - this device's serial numbers: the factory one in
 * /etc/vuro/serial and an optional custom one in /etc/vuro/custom_serial,
 * first line of each, under the system root. */
#include <errno.h>
#include <string.h>

#include <fstream>
#include <string>

#include "vurocore.h"

namespace {

/* 1 and the trimmed first line, 0 when the file is absent, -1 otherwise. */
int serialFileRead(const char* szPath, std::string* pOut) {
    std::ifstream in(VUROSysPathStr(szPath));
    if (!in) {
        return errno == ENOENT ? 0 : -1;
    }
    std::string line;
    std::getline(in, line);
    size_t b = line.find_first_not_of(" \t\r\n");
    size_t e = line.find_last_not_of(" \t\r\n");
    *pOut = b == std::string::npos ? "" : line.substr(b, e - b + 1);
    return 1;
}

int serialCopy(const std::string& serial, char* szBuf, int cbBuf) {
    // A cut serial would name another device: refuse rather than cut.
    if ((int)serial.size() + 1 > cbBuf) {
        QLIBCErrSetEx(ERR_NOT_ENOUGH_SPACE, __FILE__, __LINE__);
        return -1;
    }
    memcpy(szBuf, serial.c_str(), serial.size() + 1);
    return (int)serial.size();
}

/* A serial file into szBuf. A missing device serial is a failure; a missing
 * custom serial is no failure: the device simply has none. */
int serialGet(const char* szPath, bool blRequired, char* szBuf, int cbBuf) {
    if (szBuf == NULL || cbBuf <= 0) {
        QLIBCErrSetEx(ERR_BAD_PARAMETERS, __FILE__, __LINE__);
        return -1;
    }
    std::string serial;
    int found = -1;
    try {
        found = serialFileRead(szPath, &serial);
    } catch (...) {
    }
    if (found < 0 || (blRequired && (found == 0 || serial.empty()))) {
        QLIBCErrSetEx(ERR_OPEN_FAILED, __FILE__, __LINE__);
        return -1;
    }
    return serialCopy(serial, szBuf, cbBuf);
}

}  // namespace

int QLIBGetSerialNumber(char* szBuf, int cbBuf) {
    return serialGet(VURO_SERIAL_PATH, true, szBuf, cbBuf);
}

int QLIBGetCustomSerialNumber(char* szBuf, int cbBuf) {
    return serialGet(VURO_CUSTOM_SERIAL_PATH, false, szBuf, cbBuf);
}
