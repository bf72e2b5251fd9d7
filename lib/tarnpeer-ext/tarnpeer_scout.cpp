/* tarnpeer_scout.cpp - servers on the LAN: one scan through the discovery
 * library, its answers sorted into slots by serial, and the peer status
 * each answer gives. The scan's tables are per process and unguarded: one
 * scan at a time, and the callbacks run inside SCOUTUDPServer. */
#include <string.h>
#include <syslog.h>

#include <map>
#include <set>

#include "common/vurotarn_holder_int.h"
#include "vurotarn_macro_util.h"
#include "vurotarnpeer.h"
#include "vurotarnpeer_scout.h"

namespace {

struct _tag_scout_status_ {
    u_int32_t ulConfigured;
    int status;
};

const _tag_scout_status_ ScoutStatus[] = {
    {0, 1}, {1, 2}, {2, 3}, {3, 4}, {4, 5}, {5, 6}, {6, 7}, {7, 8},
};

// The serials asked for with their slots (empty: every server is wanted),
// the MACs already handled, the result vector and the log of the scan.
std::map<std::string, int> mapSerial;
std::set<std::string> setMacAddr;
std::vector<NASINFO>* gpNasInfo = NULL;
SCOUTLOG* gpLog = NULL;

void argumentRefused() {
    if (gpLog != NULL && gpLog->rgFunc[1] != NULL) {
        SCOUTLog(gpLog, 1, "Invaild Argument (%s)=[%d]", "__null != pnasinfo", 0);
    }
}

int isAccept(const NASINFO* pnasinfo) {
    if (pnasinfo == NULL) {
        argumentRefused();
        return -1;
    }
    // Bit 4 marks a relayed answer, which counts as the answer itself.
    return (pnasinfo->ulPacketType & ~4u) == SCOUT_PKT_ANSWER ? 1 : 0;
}

int addNasinfoToList(const NASINFO* pnasinfo) {
    if (pnasinfo == NULL) {
        argumentRefused();
        return -1;
    }
    // The first answer of an address wins.
    if (setMacAddr.count(pnasinfo->szMac) != 0) return 0;
    if (gpNasInfo != NULL) {
        if (!mapSerial.empty()) {
            auto it = mapSerial.find(pnasinfo->szNewSerial);
            if (it != mapSerial.end() && (size_t)it->second < gpNasInfo->size()) {
                (*gpNasInfo)[(size_t)it->second] = *pnasinfo;
            }
        } else {
            gpNasInfo->push_back(*pnasinfo);
        }
    }
    setMacAddr.insert(pnasinfo->szMac);
    return 0;
}

/* The ids of all peers, in list order, appended to vID; -1 when the list
 * cannot be read. */
int peerIdsAll(std::vector<long>& vID) {
    VurotarnList<VURO_TARN_PEER> list;
    if (VUROTARNPeerList(NULL, &list.p, NULL) < 0) return -1;
    for (const VURO_TARN_PEER* p = list.p; p != NULL; p = p->pNext) vID.push_back(p->id);
    return 0;
}

}  // namespace

int VUROTARNPeerStatusFromScout(u_int32_t ulConfigured) {
    for (const _tag_scout_status_& row : ScoutStatus) {
        if (row.ulConfigured == ulConfigured) return row.status;
    }
    return 0;
}

int VUROTARNPeerScoutBegin(std::vector<std::string>& vSerials, std::vector<NASINFO>& retNasInfo) {
    mapSerial.clear();
    setMacAddr.clear();
    gpNasInfo = NULL;
    for (size_t i = 0; i < vSerials.size(); i++) {
        if (!mapSerial.emplace(vSerials[i], (int)i).second) {
            mapSerial.clear();
            return -1;
        }
    }
    if (!vSerials.empty()) {
        NASINFO zero;
        memset(&zero, 0, sizeof(zero));
        retNasInfo.assign(vSerials.size(), zero);
    }
    gpNasInfo = &retNasInfo;
    return 0;
}

int VUROTARNPeerScoutAnswer(const NASINFO* pnasinfo) {
    int accepted = isAccept(pnasinfo);
    if (accepted != 1) return accepted;
    return addNasinfoToList(pnasinfo) == 0 ? 1 : -1;
}

void VUROTARNPeerScoutEnd() {
    gpNasInfo = NULL;
    gpLog = NULL;
}

/* One side of the scan on the discovery port, waiting timeoutSec. */
static void connSet(SCOUTCONN* pConn, const char* szIP, int timeoutSec, SCOUTLOG* pLog) {
    snprintf(pConn->szDestIP, sizeof(pConn->szDestIP), "%s", szIP);
    pConn->iPort = 9999;
    pConn->iTimeoutSec = timeoutSec;
    pConn->iTimeoutMSec = 0;
    pConn->pfuncIsCancel = NULL;
    pConn->pfunLogOp = pLog;
}

int VUROTARNPeerGetScoutInfoBySN(std::vector<std::string>& vSerials,
                                 std::vector<NASINFO>& retNasInfo) {
    if (VUROTARNPeerScoutBegin(vSerials, retNasInfo) != 0) return -1;
    NASINFO request;
    SCOUTSEND send;
    SCOUTRECV recv;
    SCOUTCONN recvConn, sendConn;
    SCOUTLOG log;
    memset(&request, 0, sizeof(request));
    memset(&send, 0, sizeof(send));
    memset(&recv, 0, sizeof(recv));
    memset(&recvConn, 0, sizeof(recvConn));
    memset(&sendConn, 0, sizeof(sendConn));
    memset(&log, 0, sizeof(log));
    SCOUTLogFuncSet(&log, 1, SCOUTLogDefConsole);
    gpLog = &log;

    request.ulPacketType = SCOUT_PKT_REQUEST;
    request.ulScoutVersion = 0x1020000;
    request.ulExpireTime = 120;
    // Answers are heard on loopback unless scout.conf's recv_ip names every
    // interface for a real LAN: nothing listens beyond this machine that
    // nobody asked for.
    connSet(&recvConn, "127.0.0.1", 12, &log);
    connSet(&sendConn, "255.255.255.255", 4, &log);
    recv.pfuncLocker = NULL;
    recv.pfuncIsAccept = isAccept;
    recv.pfuncAdd = addNasinfoToList;
    recv.pfuncUpdateProgress = NULL;
    send.pnasInfo = &request;
    SCOUTSendPktIDAdd(&log, &send, 164, 166, 1, 0);

    setMacAddr.clear();
    int ret = SCOUTUDPServer(&recvConn, &recv, &sendConn, &send);
    if (ret == -1) {
        SCOUTLog(&log, 1, "%s (%d): Server run error!", __FILE__, __LINE__);
    }
    // Neither the caller's vector nor this log outlives the call.
    VUROTARNPeerScoutEnd();
    return ret == -1 ? -1 : 0;
}

int VUROTARNPeerGetScoutInfoByID(std::vector<long>& vID, std::vector<NASINFO>& retNasInfo) {
    if (vID.empty() && peerIdsAll(vID) != 0) return -1;
    std::vector<std::string> vSerials;
    for (long id : vID) {
        VURO_TARN_PEER peer;
        VUROTARNPeerClear(&peer);
        if (VUROTARNPeerGet(id, &peer) != 0) return -1;
        vSerials.push_back(peer.str_sn);
    }
    return VUROTARNPeerGetScoutInfoBySN(vSerials, retNasInfo) < 0 ? -1 : 0;
}

int VUROTARNPeerUpdateScoutStatusByID(std::vector<long>& vID) {
    if (vID.empty() && peerIdsAll(vID) != 0) return -1;
    std::vector<NASINFO> vInfo;
    if (VUROTARNPeerGetScoutInfoByID(vID, vInfo) < 0) return -1;
    for (size_t i = 0; i < vID.size() && i < vInfo.size(); i++) {
        // A server that did not answer keeps the status it had.
        if (vInfo[i].szNewSerial[0] == '\0') continue;
        VURO_TARN_PEER peer;
        VUROTARNPeerClear(&peer);
        if (VUROTARNPeerGet(vID[i], &peer) != 0) return -1;
        VUROTARNPeerItemSetStatus(&peer, VUROTARNPeerStatusFromScout(vInfo[i].ulConfigured));
        if (peer.status != 0 && VUROTARNPeerSet(&peer) != 0) return -1;
    }
    return 0;
}
