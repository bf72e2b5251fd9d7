/* tarnpeer_webapi_int.h - what the remote-call files share: holders of the
 * credential library's objects, the search for a free temporary id and the
 * filling of a destination from one way (https or http) of a peer record. */
#ifndef TARNPEER_WEBAPI_INT_H
#define TARNPEER_WEBAPI_INT_H

#include <memory>

#include "vurotarnpeer_webapi.h"

struct VurotarnCredFree {
    void operator()(VURO_CRED* p) const { VUROCredFree(p); }
    void operator()(VURO_CRED_SESS* p) const { VUROCredSessFree(p); }
};
using VurotarnCredHolder = std::unique_ptr<VURO_CRED, VurotarnCredFree>;
using VurotarnCredSessHolder = std::unique_ptr<VURO_CRED_SESS, VurotarnCredFree>;
using VurotarnRequestHolder = std::unique_ptr<VURO::CredRequest>;

/* The two ways to a peer, in the order they are tried. */
enum class VurotarnPeerWay { Https, Http };

/* -1, -2, ... : the first id no live request of any process holds. */
long vurotarnPeerCredIdFree();

/* Sets id, the way's port, host, protocol, access token and (when the
 * record has one) CSRF token; false at the first setter that refuses, and
 * when the way's port is not above 0. */
bool vurotarnPeerCredFill(const VURO_TARN_PEER& peer, VurotarnPeerWay way, long idCred,
                          VURO_CRED* pCred, VURO_CRED_SESS* pCredSess);

/* Seals the request when its API takes JSON; false when the library
 * refused the mode. */
bool vurotarnPeerRequestSealIfJson(VURO::CredRequest* pReq);

#endif
