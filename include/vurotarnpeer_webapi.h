/* vurotarnpeer_webapi.h - remote calls to managed servers: a destination from
 * a peer record, requests built or sent through the credential library, and
 * the relay refresh that stores a peer's current way in. */
#ifndef VUROTARNPEER_WEBAPI_H
#define VUROTARNPEER_WEBAPI_H

#include <json/json.h>
#include <vurocredential.h>

#include <string>

#include "vurotarn_type.h"
#include "vurotarnpeer.h"

/* Sending: 0 when a JSON answer came back (whatever it says), -1 otherwise. */
VUROTARN_API int VUROTARNPeerSendWebapi(VURO_CRED* pCred, VURO_CRED_SESS* pCredSess,
                                        Json::Value& jResp, const std::string& strAPI, int iVersion,
                                        const std::string& strMethod, const Json::Value& jsParam);
/* One call to a stored peer: HTTPS first, then HTTP (sealed for JSON APIs). */
VUROTARN_API int VUROTARNPeerSendWebapiByID(long id, Json::Value& jResp, const std::string& strAPI,
                                            int iVersion, const std::string& strMethod,
                                            const Json::Value& jsParam);

/* Building: a request the caller owns (delete it), or NULL. */
VUROTARN_API VURO::CredRequest* VUROTARNPeerCreateWebapi(const VURO_CRED* pCred,
                                                         const VURO_CRED_SESS* pCredSess,
                                                         const std::string& strAPI, int iVersion,
                                                         const std::string& strMethod,
                                                         const Json::Value& jsParam);
VUROTARN_API VURO::CredRequest* VUROTARNPeerCreateWebapiByPEER(const VURO_TARN_PEER* pPeer,
                                                               const std::string& strAPI,
                                                               int iVersion,
                                                               const std::string& strMethod,
                                                               const Json::Value& jsParam);
VUROTARN_API VURO::CredRequest* VUROTARNPeerCreateWebapiByID(long id, const std::string& strAPI,
                                                             int iVersion,
                                                             const std::string& strMethod,
                                                             const Json::Value& jsParam);

/* The destination of a stored peer in the caller's objects; no remote call.
 * After -1 the objects may be partly filled. */
VUROTARN_API int VUROTARNPeerGetCredential(long id, VURO_CRED* pCred, VURO_CRED_SESS* pCredSess);
/* The destination told by a joining server ({access_token, host, http_port,
 * https_port}); no id and no CSRF token. Exported for the join and its
 * tests, not meant for other callers. */
VUROTARN_API bool FillCredAndSess(VURO_CRED* pCred, VURO_CRED_SESS* pSess,
                                  const Json::Value& jsInfo);

/* Asks the relay service for the peer's current address and port and stores
 * them; afterwards exactly one port is set. The only writer of this layer. */
VUROTARN_API int VUROTARNPeerUpdateRelayPathByPEER(VURO_TARN_PEER* pPeer);
VUROTARN_API int VUROTARNPeerUpdateRelayPathByID(long id);

#endif
