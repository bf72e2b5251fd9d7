/* tarnpeer_send_createserver.cpp - the end of a join: for each new server a
 * session of this server, the remote call "end_join" that hands it over
 * with this server's serial and ports, and the stored record of each server
 * that confirmed. The session exists before the server hears of it; the
 * record is written only after the server said yes. */
#include <string.h>
#include <syslog.h>

#include <vurojson.h>
#include <vurow3.h>

#include "common/vurotarn_json_int.h"
#include "tarnpeer-ext/tarnpeer_webapi_int.h"
#include "vurotarn_macro_util.h"
#include "vurotarnpeer_join.h"

namespace {

/* This server's identity towards its managed servers: the custom serial
 * when the device has one, else the factory serial. */
std::string GetSerialNumber() {
    char szSerial[40] = {0};
    if (QLIBGetCustomSerialNumber(szSerial, 31) < 0 || szSerial[0] == '\0') {
        if (QLIBGetSerialNumber(szSerial, 36) < 0) {
            VUROTARN_LOG("Failed to get serial number from flash. " VUROTARN_ERRSTORE_FMT,
                         VUROTARN_ERRSTORE_ARGS);
        }
    }
    return szSerial;
}

/* The record of a confirmed server: the stored row of its serial, or a new
 * one, with the fields the join owns. */
void peerFillFromJoin(const Json::Value& jsEntry, const Json::Value& jsResp,
                      VURO_TARN_PEER* pPeer) {
    VUROTARNPeerItemSetSN(pPeer, vurotarnJsonString(jsEntry["sn"]).c_str());
    VUROTARNPeerItemSetModel(pPeer, vurotarnJsonString(jsEntry["model"]).c_str());
    VUROTARNPeerItemSetVersion(pPeer, vurotarnJsonString(jsEntry["kelp_version"]).c_str());
    VUROTARNPeerItemSetHostName(pPeer, vurotarnJsonString(jsResp["data"]["hostname"]).c_str());
    VUROTARNPeerItemSetHost(pPeer, vurotarnJsonString(jsEntry["host"]).c_str());
    VUROTARNPeerItemSetSID(pPeer, vurotarnJsonString(jsEntry["access_token"]).c_str());
    VUROTARNPeerItemSetBuildNum(pPeer, (long)vurotarnJsonInt64(jsEntry["build_number"]));
    VUROTARNPeerItemSetHttpPort(pPeer, (long)vurotarnJsonInt64(jsEntry["http_port"]));
    // A new server is reached over HTTP, sealed, until a later write opens
    // HTTPS; a stored one that has HTTPS takes the port it told now.
    if (pPeer->https_port != 0) {
        VUROTARNPeerItemSetHttpsPort(pPeer, (long)vurotarnJsonInt64(jsEntry["https_port"]));
    }
    VUROTARNPeerItemSetStatus(pPeer, 9);
    VUROTARNPeerItemSetStatusByServer(pPeer, 9);
}

bool joinConfirmed(const Json::Value& jsResp) {
    return jsResp.isObject() && jsResp["success"].isBool() && jsResp["success"].asBool() &&
           jsResp["data"].isObject() && jsResp["data"].isMember("hostname");
}

}  // namespace

int VUROTARNPeerSendCreateServer(const Json::Value& jsPEERList, const Json::Value& jsServer) {
    if (jsPEERList.empty()) {
        VUROTARN_LOG("empty peer list");
        return -1;
    }
    VurotarnCredHolder cred(VUROCredAlloc());
    VurotarnCredSessHolder sess(VUROCredSessAlloc());
    if (!cred || !sess) {
        VUROTARN_LOG("cred allocate failed");
        return -1;
    }
    // The fallback below writes into the caller's entries: the caller owns
    // the value it passed.
    Json::Value& jsList = const_cast<Json::Value&>(jsPEERList);

    vurow3::KELP kelp;
    Json::Value jsParam(Json::objectValue);
    jsParam["sn"] = GetSerialNumber();
    jsParam["host"] = jsServer.isObject() ? jsServer["host"] : Json::Value();
    jsParam["http_port"] = kelp.GetHttpPort();
    jsParam["https_port"] = kelp.GetHttpsPort();

    VurotarnRequestHolder req;
    Json::Value jsResp;
    for (Json::ArrayIndex i = 0; jsList.isArray() && i < jsList.size(); i++) {
        // Read through a const view: a missing member must not be added
        // to the caller's entry.
        const Json::Value& jsEntry = jsList[i];
        if (!FillCredAndSess(cred.get(), sess.get(), jsEntry)) {
            VUROTARN_LOG("FillCredAndSess failed");
            return -1;
        }
        // Never hand one server another's token: each round starts without.
        jsParam.removeMember("access_token");
        std::string strSerial = vurotarnJsonString(jsEntry["sn"]);
        if (!VUROTARNPeerCreateSessionBySn(strSerial, jsParam["access_token"])) {
            VUROTARN_LOG("Create client session fail[%s]", strSerial.c_str());
            // A server without a session could not call back: don't join it.
            jsParam.removeMember("access_token");
            continue;
        }
        req.reset();
        req.reset(VURO::CredRequest::CreateWebAPIRequest(cred.get(), sess.get(), "VURO.Core.TARN",
                                                         1, "end_join", jsParam));
        if (!req && vurotarnJsonInt64(jsEntry["https_port"]) >= 1 &&
            vurotarnJsonInt64(jsEntry["http_port"]) >= 1) {
            // HTTPS could not be reached; HTTP, sealed, may still be.
            jsList[i]["https_port"] = 0;
            FillCredAndSess(cred.get(), sess.get(), jsEntry);
            req.reset(VURO::CredRequest::CreateWebAPIRequest(
                cred.get(), sess.get(), "VURO.Core.TARN", 1, "end_join", jsParam));
        }
        if (!req) {
            VUROTARN_LOG("pReq is null");
            return -1;
        }
        // The token travels inside the seal, also over HTTPS.
        req->SetEncryptMode(CRED_REQ_CRYPTO_AES);
        if (!req->Process(true, 0)) {
            VUROTARN_LOG("Process fail[%d]", req->GetError());
            continue;
        }
        if (!vurojson::fromString(jsResp, req->GetResponse())) {
            VUROTARN_LOG("parse response fail: %s -> %s", vurojson::toString(jsEntry).c_str(),
                         req->GetResponse().c_str());
            continue;
        }
        if (!joinConfirmed(jsResp)) {
            VUROTARN_LOG("create server fail[%s]: %s", req->GetURL().c_str(),
                         vurojson::toString(jsResp).c_str());
            continue;
        }
        Json::Value jsJoined = jsEntry;
        VURO_TARN_PEER peer;
        VUROTARNPeerClear(&peer);
        VUROTARNPeerGetBySN(strSerial.c_str(), &peer);  // available tells whether it exists
        peerFillFromJoin(jsJoined, jsResp, &peer);
        if (peer.available) {
            if (VUROTARNPeerSet(&peer) != 0) {
                VUROTARN_LOG("VUROTARNPeerSet PEER[%s] Fail.", peer.str_sn.c_str());
                return -1;
            }
        } else if (VUROTARNPeerCreate(&peer) != 0) {
            VUROTARN_LOG("VUROTARNPeerCreate PEER[%s] Fail.", peer.str_sn.c_str());
            return -1;
        }
    }
    return 0;
}
