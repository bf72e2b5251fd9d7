/* vurotarn_record_hooks.h - the record pattern's hook layer: the plug-in
 * environment of one write, its arguments from the field table (Org_ and
 * New_ sides), the PRE and POST halves around a write, and the family's
 * change-log step. */
#ifndef VUROTARN_RECORD_HOOKS_H
#define VUROTARN_RECORD_HOOKS_H

#include <stdlib.h>

#include <string>

#include "common/vurotarn_record_fields.h"

template <class T>
struct VurotarnRecordHooks {
    using Rec = typename T::Rec;
    using Id = typename T::Id;
    using Env = typename T::Env;

    static int pluginInit(Env* pstEnvVar, const char* szPlugin, const Rec* pOrg, const Rec* pNew) {
        if (pstEnvVar == NULL || szPlugin == NULL || (pOrg == NULL && pNew == NULL)) {
            QLIBCErrSetEx(ERR_BAD_PARAMETERS, __FILE__, __LINE__);
            VUROTARN_REPORT(false, "Bad parameters");
            return -1;
        }
        pstEnvVar->pOrg = pOrg;
        pstEnvVar->pNew = pNew;
        pstEnvVar->pPlugin = NULL;
        pstEnvVar->iResult = 0;
        if (VUROTARNPluginInit(T::kModule, szPlugin, &pstEnvVar->pPlugin) < 0) {
            VUROTARN_REPORT(false, "Fail to init plugin [%s] " VUROTARN_ERRSTORE_FMT, T::kModule,
                            VUROTARN_ERRSTORE_ARGS);
            return -1;
        }
        return 0;
    }

    static int pluginSetRecordArgs(PQLIBPLUGIN pPlugin, const char* szPrefix, const Rec& rec) {
        for (const VurotarnField<Rec>& field : T::kFields) {
            if (field.szHook == NULL) {
                continue;
            }
            std::string text = field.toText(rec);
            size_t cbBuf = field.blText ? T::kHookTextBuf : T::kHookNumBuf;
            if (cbBuf != 0 && text.size() > cbBuf - 1) {
                text.resize(cbBuf - 1);  // the platform's argument buffer cuts here
            }
            std::string key = std::string(szPrefix) + field.szHook;
            if (QLIBPluginSetArg(pPlugin, key.c_str(), text.c_str()) < 0) {
                return -1;
            }
        }
        return 0;
    }

    /* RESULT, then the Org_ and New_ sides that are set. Separate from
     * plugin() so that a family can name this step. */
    static int pluginSetArgs(Env* pstEnvVar) {
        if (pstEnvVar == NULL || (pstEnvVar->pOrg == NULL && pstEnvVar->pNew == NULL)) {
            QLIBCErrSetEx(ERR_BAD_PARAMETERS, __FILE__, __LINE__);
            return -1;
        }
        if (QLIBPluginSetArgByInt(pstEnvVar->pPlugin, "RESULT", pstEnvVar->iResult) < 0) {
            return -1;
        }
        if (pstEnvVar->pOrg != NULL &&
            pluginSetRecordArgs(pstEnvVar->pPlugin, "Org_", *pstEnvVar->pOrg) < 0) {
            return -1;
        }
        if (pstEnvVar->pNew != NULL &&
            pluginSetRecordArgs(pstEnvVar->pPlugin, "New_", *pstEnvVar->pNew) < 0) {
            return -1;
        }
        return 0;
    }

    static int plugin(const SDK_PLUGIN_ACTION action, Env* pstEnvVar) {
        if (pstEnvVar == NULL || !QLIBPluginHasInit(pstEnvVar->pPlugin)) {
            return -1;
        }
        if (pluginSetArgs(pstEnvVar) < 0) {
            return -1;
        }
        return QLIBPluginAction(action, pstEnvVar->pPlugin);
    }

    static int pluginExit(Env* pstEnvVar) {
        if (pstEnvVar == NULL) {
            QLIBCErrSetEx(ERR_BAD_PARAMETERS, __FILE__, __LINE__);
            return -1;
        }
        QLIBPluginExit(pstEnvVar->pPlugin);
        pstEnvVar->pPlugin = NULL;
        return 0;
    }

    /* The PRE half of a write: environment, initialisation, PRE action. A
     * hook never stops the write, so failures are only logged. */
    static Env* hooksBefore(const char* szHook, const Rec* pOrg, const Rec* pNew,
                            bool blTrace = false) {
        Env* env = (Env*)calloc(1, sizeof(Env));
        if (pluginInit(env, szHook, pOrg, pNew) < 0) {
            VUROTARN_REPORT(blTrace, "Fail to init %s plugin (PRE)", szHook);
        }
        if (plugin(SDK_PLUGIN_PRE, env) < 0) {
            VUROTARN_REPORT(blTrace, "Fail to execute %s plugin (PRE)", szHook);
        }
        return env;
    }

    static void hooksAfter(Env* env, const char* szHook, int result, bool blTrace = false) {
        if (env == NULL) {
            return;
        }
        env->iResult = result;
        if (plugin(SDK_PLUGIN_POST, env) < 0) {
            VUROTARN_REPORT(blTrace, "Fail to execute %s plugin (POST)", szHook);
        }
        pluginExit(env);
        ::free(env);
    }

    static void changeLog(int result, int action, Rec* p1, Rec* p2, const char* szAction, Id id,
                          bool blTrace = false) {
        if constexpr (std::is_null_pointer_v<std::decay_t<decltype(T::kLog)>>) {
            (void)result, (void)action, (void)p1, (void)p2, (void)szAction, (void)id, (void)blTrace;
        } else if (T::kLog(result, action, p1, p2) < 0) {
            VUROTARN_REPORT(blTrace, "Failed to record %s action of %s in db. id=[%s]", szAction,
                            T::kWord, T::idText(id).c_str());
        }
    }
};

#endif
