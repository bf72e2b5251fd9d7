/* answer_int.h - the reading of the far side's answers that steer a request:
 * the discovery answer's API table and the relay service's answer. Kept
 * apart from the transfers so that a fuzz target can feed them any text;
 * exported for it, and for nothing else. */
#ifndef VUROCRED_ANSWER_INT_H
#define VUROCRED_ANSWER_INT_H

#include <json/json.h>

#include <string>

#include "vurocore.h"

namespace vurocred {

/* The entry of strApi in a discovery answer: its path and request format
 * for iVersion. CRED_REQ_ERR_NONE, or the failure with the text that goes
 * after the error's own (strWhy). */
VURO_EXPORT int DiscoveryAnswerRead(const std::string& strAnswer, const std::string& strApi,
                                    int iVersion, std::string& strPath, std::string& strFormat,
                                    std::string& strWhy);

/* A relay answer after a transfer that ended with iErr: true with the
 * connection info ({"host",...}) in js; false with what the caller shows
 * in js (the far side's own object, or {"error": text}). */
VURO_EXPORT bool RelayAnswerRead(int iErr, const std::string& strAnswer, Json::Value& js);

/* {"error": strWhy} into js; false, for the caller's return. */
bool RelayFail(Json::Value& js, const std::string& strWhy);

}  // namespace vurocred

#endif
