/* policy_read.cpp - the three library steps of one policy read, composed in
 * one place for the command line and the managed servers' fetch. */
#include "policy_read.h"

#include "vurotarn.h"

namespace tarncli {

PolicyReadStep policyRead(const PolicyReadAsk& ask, Json::Value& jSet, Json::Value* pEffective,
                          Json::Value* pGpo) {
    *pEffective = Json::Value(Json::objectValue);
    if (VUROTARNGpoGetEvaluate(ask.id, ask.type, *pEffective, NULL) != 0) {
        return PolicyReadStep::Evaluate;
    }
    *pGpo = *pEffective;
    int r = ask.fetch ? VUROTARNGpoGetWithVersionConvertForFetch(*pGpo, jSet)
                      : VUROTARNGpoGetWithVersionConvert(*pGpo, jSet);
    if (r != 0) return PolicyReadStep::Convert;
    // The delegates set is added after the conversion: it has no converter,
    // and its one version is what every reader gets.
    if (ask.delegates && ask.type == VURO_TARN_TYPE_PEER &&
        VUROTARNGpoGetPolicyDelegate(ask.id, *pGpo, jSet) != 0) {
        return PolicyReadStep::Delegates;
    }
    return PolicyReadStep::Done;
}

}  // namespace tarncli
