/* fuzz_scout.cpp - a discovery datagram from anyone on the LAN, parsed and
 * handed to the scan's answer handling as a scan does it. Beside the
 * no-crash check: what parses builds again and parses to the same record,
 * and the scan's slots only ever hold the serial asked for in them. */
#include <stdlib.h>
#include <string.h>

#include <set>
#include <sstream>
#include <string>
#include <vector>

#include <scout.h>

#include "fuzz_root.h"
#include "vurotarnpeer_scout.h"

using namespace tarnfuzz;

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    rootMake();
    return 0;
}

namespace {

bool samePacket(const SCOUTPACKET& a, const SCOUTPACKET& b) {
    return memcmp(&a.info, &b.info, sizeof(a.info)) == 0 && a.cPktID == b.cPktID &&
           memcmp(a.rgPktID, b.rgPktID, sizeof(a.rgPktID[0]) * (size_t)a.cPktID) == 0;
}

}  // namespace

/* Input: the serials asked for, one a line (none: every server), NUL, then
 * datagrams, each after its length in two bytes (big-endian). */
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    std::vector<std::string> parts = inputSplit(data, size, 2);
    std::vector<std::string> serials;
    std::istringstream lines(parts[0]);
    for (std::string line; std::getline(lines, line);) serials.push_back(line);

    std::vector<NASINFO> slots;
    bool begun = VUROTARNPeerScoutBegin(serials, slots) == 0;
    if (!begun && std::set<std::string>(serials.begin(), serials.end()).size() == serials.size()) {
        abort();  // refused a list without a serial given twice
    }
    const std::string& stream = parts[1];
    size_t at = 0;
    while (at + 2 <= stream.size()) {
        size_t len = (size_t)(unsigned char)stream[at] << 8 | (unsigned char)stream[at + 1];
        at += 2;
        if (len > stream.size() - at) len = stream.size() - at;
        SCOUTPACKET pkt, again;
        bool parsed = SCOUTPacketParse(stream.data() + at, len, &pkt) == 0;
        at += len;
        if (!parsed) continue;
        unsigned char buf[SCOUT_MAX_DATAGRAM];
        int cb = SCOUTPacketBuild(&pkt, buf, sizeof(buf));
        if (cb < 0 || SCOUTPacketParse(buf, (size_t)cb, &again) != 0 || !samePacket(pkt, again)) {
            abort();
        }
        if (VUROTARNPeerScoutAnswer(&pkt.info) < 0) abort();
    }
    if (begun && !serials.empty()) {
        if (slots.size() != serials.size()) abort();
        for (size_t i = 0; i < slots.size(); i++) {
            if (slots[i].szNewSerial[0] != '\0' && serials[i] != slots[i].szNewSerial) abort();
        }
    } else if (begun) {
        std::set<std::string> macs;
        for (const NASINFO& n : slots) {
            if (!macs.insert(n.szMac).second) abort();  // one answer per address
        }
    }
    VUROTARNPeerScoutEnd();
    return 0;
}
