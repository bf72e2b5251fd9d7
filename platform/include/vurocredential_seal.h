/* vurocredential_seal.h - the wire of the credential stand-in, shared by its
 * clients and by any server that answers them: header names, the members of
 * a sealed body, the key id, sealing and opening. One implementation, in
 * libvurocredential; no transport or crypto header leaks through here. */
#ifndef VUROCREDENTIAL_SEAL_H
#define VUROCREDENTIAL_SEAL_H

#include <json/json.h>

#include <string>

#include "vurocore.h"

/* Plain requests carry the tokens in these two headers, never in the URL. */
#define VUROCRED_HDR_ACCESS_TOKEN "X-Vuro-Access-Token"
#define VUROCRED_HDR_CSRF_TOKEN "X-Vuro-Csrf-Token"
/* Sealed requests carry only the key id, in this header. */
#define VUROCRED_HDR_KEY_ID "X-Vuro-Key-Id"

/* Discovery: GET VUROCRED_DISCOVER_PATH "?names=<API>". */
#define VUROCRED_DISCOVER_PATH "/api/discover"
/* Relay lookup: GET <relay_portal> VUROCRED_RELAY_PATH "?id=<id>". */
#define VUROCRED_RELAY_PATH "/relay/conninfo"

/* A sealed body or answer: {"sealed": {"iv": base64, "data": base64}}. The
 * opened request body is {"api","version","method","params"} plus the two
 * tokens under these members (the CSRF one only when set). */
#define VUROCRED_SEALED_MEMBER "sealed"
#define VUROCRED_BODY_ACCESS_TOKEN "access_token"
#define VUROCRED_BODY_CSRF_TOKEN "csrf_token"

/* The far side's code for a bad token or seal. */
#define VUROCRED_CODE_BAD_TOKEN 119

/* The default CA file under the system root; credential.conf's ca_file. */
#define VUROCRED_CONF_PATH "/etc/vuro/credential.conf"
#define VUROCRED_DEFAULT_CA_FILE "/etc/vuro/ssl/ca.pem"

namespace vurocred {

/* Lowercase hex of the first 16 bytes of HMAC-SHA256(token, "vuro-cred key
 * id"): names the token without giving it away. */
VURO_EXPORT std::string SealKeyId(const std::string& strToken);

/* Seals text with AES-256-GCM under a key derived from the token (HKDF-SHA256,
 * info "vuro-cred seal v1"), a fresh 12-byte IV and the request path as
 * additional data. jsSealed becomes {"iv","data"} (data: ciphertext, then
 * the 16-byte tag). False only when the crypto library fails. */
VURO_EXPORT bool Seal(const std::string& strToken, const std::string& strPath,
                      const std::string& strPlain, Json::Value& jsSealed);

/* Opens what Seal made; false when it is malformed, the tag does not match
 * (a changed byte, another token or another path). */
VURO_EXPORT bool Unseal(const std::string& strToken, const std::string& strPath,
                        const Json::Value& jsSealed, std::string& strPlain);

/* The CA file requests verify against: ca_file of credential.conf, else
 * VUROCRED_DEFAULT_CA_FILE, as a path joined under the system root. */
VURO_EXPORT std::string CaFilePath();

/* Standard base64 with padding; Base64Decode is false for bad input. */
VURO_EXPORT std::string Base64Encode(const std::string& strRaw);
VURO_EXPORT bool Base64Decode(const std::string& strText, std::string& strRaw);

}  // namespace vurocred

#endif
