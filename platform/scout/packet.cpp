/* packet.cpp - the discovery datagram: parser and writer of the format that
 * scout.h describes. The parser takes bytes from anyone on the network, so
 * it trusts no length and no terminator; it is kept apart for fuzzing. */
#include <arpa/inet.h>
#include <string.h>

#include "scout.h"

namespace {

struct TextField {
    unsigned id;
    size_t offset;
    size_t size;
};

const TextField kTexts[] = {
    {SCOUT_FIELD_MAC, offsetof(NASINFO, szMac), sizeof(((NASINFO*)0)->szMac)},
    {SCOUT_FIELD_SERIAL, offsetof(NASINFO, szNewSerial), sizeof(((NASINFO*)0)->szNewSerial)},
    {SCOUT_FIELD_IP, offsetof(NASINFO, szIP), sizeof(((NASINFO*)0)->szIP)},
    {SCOUT_FIELD_SERVER_NAME, offsetof(NASINFO, szServerName), sizeof(((NASINFO*)0)->szServerName)},
    {SCOUT_FIELD_MODEL, offsetof(NASINFO, szModel), sizeof(((NASINFO*)0)->szModel)},
};

struct NumberField {
    unsigned id;
    size_t offset;
};

const NumberField kNumbers[] = {
    {SCOUT_FIELD_PACKET_TYPE, offsetof(NASINFO, ulPacketType)},
    {SCOUT_FIELD_SCOUT_VERSION, offsetof(NASINFO, ulScoutVersion)},
    {SCOUT_FIELD_EXPIRE_TIME, offsetof(NASINFO, ulExpireTime)},
    {SCOUT_FIELD_CONFIGURED, offsetof(NASINFO, ulConfigured)},
};

unsigned get16(const unsigned char* p) { return (unsigned)p[0] << 8 | p[1]; }

u_int32_t get32(const unsigned char* p) {
    u_int32_t v;
    memcpy(&v, p, 4);
    return ntohl(v);
}

void put16(unsigned char* p, unsigned v) {
    p[0] = (unsigned char)(v >> 8);
    p[1] = (unsigned char)v;
}

/* Appends one field; false when it does not fit. */
bool fieldPut(unsigned char* buf, size_t cb, size_t* pAt, unsigned id, const void* pValue,
              size_t cbValue) {
    if (cbValue > 0xFFFF || *pAt + 4 + cbValue > cb) return false;
    put16(buf + *pAt, id);
    put16(buf + *pAt + 2, (unsigned)cbValue);
    memcpy(buf + *pAt + 4, pValue, cbValue);
    *pAt += 4 + cbValue;
    return true;
}

bool numberPut(unsigned char* buf, size_t cb, size_t* pAt, unsigned id, u_int32_t v) {
    u_int32_t net = htonl(v);
    return fieldPut(buf, cb, pAt, id, &net, 4);
}

/* One field into the packet; false when its length does not suit its id. */
bool fieldTake(SCOUTPACKET* pPkt, unsigned id, const unsigned char* p, size_t len) {
    char* base = (char*)&pPkt->info;
    for (const TextField& t : kTexts) {
        if (t.id != id) continue;
        // A text must leave room for its terminator and hold none inside.
        if (len >= t.size || memchr(p, '\0', len) != NULL) return false;
        memset(base + t.offset, 0, t.size);
        memcpy(base + t.offset, p, len);
        return true;
    }
    for (const NumberField& n : kNumbers) {
        if (n.id != id) continue;
        if (len != 4) return false;
        u_int32_t v = get32(p);
        memcpy(base + n.offset, &v, 4);
        return true;
    }
    if (id == SCOUT_FIELD_PKT_ID) {
        if (len != 4 || pPkt->cPktID >= SCOUT_MAX_PKTID) return false;
        pPkt->rgPktID[pPkt->cPktID++] = get32(p);
        return true;
    }
    return true;  // an id of a later format: skipped
}

}  // namespace

int SCOUTPacketParse(const void* pData, size_t cbData, SCOUTPACKET* pPkt) {
    if (pPkt == NULL) return -1;
    memset(pPkt, 0, sizeof(*pPkt));
    const unsigned char* p = (const unsigned char*)pData;
    if (p == NULL || cbData < SCOUT_HEADER_SIZE || cbData > SCOUT_MAX_DATAGRAM ||
        memcmp(p, SCOUT_MAGIC, 4) != 0 || p[4] != SCOUT_FORMAT_VERSION || p[5] != 0) {
        return -1;
    }
    unsigned cFields = get16(p + 6);
    size_t at = SCOUT_HEADER_SIZE;
    bool ok = true;
    for (unsigned i = 0; ok && i < cFields; i++) {
        ok = cbData - at >= 4;
        if (!ok) break;
        unsigned id = get16(p + at);
        size_t len = get16(p + at + 2);
        at += 4;
        ok = cbData - at >= len && fieldTake(pPkt, id, p + at, len);
        at += len;
    }
    // Fewer fields than told, bytes left over, or a field that did not suit.
    if (!ok || at != cbData) {
        memset(pPkt, 0, sizeof(*pPkt));
        return -1;
    }
    return 0;
}

int SCOUTPacketBuild(const SCOUTPACKET* pPkt, void* pBuf, size_t cbBuf) {
    if (pPkt == NULL || pBuf == NULL || cbBuf < SCOUT_HEADER_SIZE) return -1;
    unsigned char* buf = (unsigned char*)pBuf;
    size_t cb = cbBuf < SCOUT_MAX_DATAGRAM ? cbBuf : SCOUT_MAX_DATAGRAM;
    memcpy(buf, SCOUT_MAGIC, 4);
    buf[4] = SCOUT_FORMAT_VERSION;
    buf[5] = 0;
    size_t at = SCOUT_HEADER_SIZE;
    unsigned cFields = 0;
    const char* base = (const char*)&pPkt->info;
    for (const NumberField& n : kNumbers) {
        u_int32_t v;
        memcpy(&v, base + n.offset, 4);
        if (v == 0) continue;
        if (!numberPut(buf, cb, &at, n.id, v)) return -1;
        cFields++;
    }
    for (const TextField& t : kTexts) {
        size_t len = strnlen(base + t.offset, t.size);
        if (len == 0) continue;
        if (len == t.size || !fieldPut(buf, cb, &at, t.id, base + t.offset, len)) return -1;
        cFields++;
    }
    if (pPkt->cPktID < 0 || pPkt->cPktID > SCOUT_MAX_PKTID) return -1;
    for (int i = 0; i < pPkt->cPktID; i++) {
        if (!numberPut(buf, cb, &at, SCOUT_FIELD_PKT_ID, pPkt->rgPktID[i])) return -1;
        cFields++;
    }
    put16(buf + 6, cFields);
    return (int)at;
}
