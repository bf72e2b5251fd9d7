/* seal.cpp - the sealing of the credential wire: key id, AES-256-GCM under an
 * HKDF-SHA256 key of the token, base64, and the CA file setting. Leans on
 * OpenSSL's libcrypto; clients and the simulator share exactly this code. */
#include <openssl/evp.h>
#include <openssl/hmac.h>
#include <openssl/kdf.h>
#include <openssl/rand.h>

#include <memory>

#include "vurocredential_seal.h"
#include "vurojson.h"

namespace vurocred {

namespace {

const char kKeyIdLabel[] = "vuro-cred key id";
const char kSealLabel[] = "vuro-cred seal v1";
const size_t kKeyLen = 32;
const size_t kIvLen = 12;
const size_t kTagLen = 16;

struct CipherCtxFree {
    void operator()(EVP_CIPHER_CTX* p) const { EVP_CIPHER_CTX_free(p); }
};
struct PkeyCtxFree {
    void operator()(EVP_PKEY_CTX* p) const { EVP_PKEY_CTX_free(p); }
};
using CipherCtx = std::unique_ptr<EVP_CIPHER_CTX, CipherCtxFree>;
using PkeyCtx = std::unique_ptr<EVP_PKEY_CTX, PkeyCtxFree>;

bool sealKeyDerive(const std::string& strToken, unsigned char* key) {
    PkeyCtx ctx(EVP_PKEY_CTX_new_id(EVP_PKEY_HKDF, NULL));
    size_t len = kKeyLen;
    // No salt: the token itself is the secret both sides hold.
    return ctx && EVP_PKEY_derive_init(ctx.get()) > 0 &&
           EVP_PKEY_CTX_set_hkdf_md(ctx.get(), EVP_sha256()) > 0 &&
           EVP_PKEY_CTX_set1_hkdf_key(ctx.get(), (const unsigned char*)strToken.data(),
                                      (int)strToken.size()) > 0 &&
           EVP_PKEY_CTX_add1_hkdf_info(ctx.get(), (const unsigned char*)kSealLabel,
                                       (int)sizeof(kSealLabel) - 1) > 0 &&
           EVP_PKEY_derive(ctx.get(), key, &len) > 0 && len == kKeyLen;
}

}  // namespace

std::string SealKeyId(const std::string& strToken) {
    unsigned char mac[EVP_MAX_MD_SIZE];
    unsigned int len = 0;
    if (!HMAC(EVP_sha256(), strToken.data(), (int)strToken.size(),
              (const unsigned char*)kKeyIdLabel, sizeof(kKeyIdLabel) - 1, mac, &len) ||
        len < 16) {
        return "";
    }
    static const char kHex[] = "0123456789abcdef";
    std::string out;
    for (unsigned int i = 0; i < 16; i++) {
        out += kHex[mac[i] >> 4];
        out += kHex[mac[i] & 0xF];
    }
    return out;
}

std::string Base64Encode(const std::string& strRaw) {
    std::string out(4 * ((strRaw.size() + 2) / 3) + 1, '\0');
    int n = EVP_EncodeBlock((unsigned char*)&out[0], (const unsigned char*)strRaw.data(),
                            (int)strRaw.size());
    out.resize(n < 0 ? 0 : n);
    return out;
}

bool Base64Decode(const std::string& strText, std::string& strRaw) {
    if (strText.size() % 4 != 0) {
        return false;
    }
    std::string out(strText.size() / 4 * 3 + 1, '\0');
    int n = EVP_DecodeBlock((unsigned char*)&out[0], (const unsigned char*)strText.data(),
                            (int)strText.size());
    if (n < 0) {
        return false;
    }
    // DecodeBlock counts the padding as zero bytes: take them off again.
    size_t pad = 0;
    if (!strText.empty() && strText[strText.size() - 1] == '=') pad++;
    if (strText.size() > 1 && strText[strText.size() - 2] == '=') pad++;
    out.resize((size_t)n - pad);
    strRaw.swap(out);
    return true;
}

bool Seal(const std::string& strToken, const std::string& strPath, const std::string& strPlain,
          Json::Value& jsSealed) {
    unsigned char key[kKeyLen];
    unsigned char iv[kIvLen];
    if (!sealKeyDerive(strToken, key) || RAND_bytes(iv, sizeof(iv)) != 1) {
        return false;
    }
    CipherCtx ctx(EVP_CIPHER_CTX_new());
    std::string data(strPlain.size() + kTagLen, '\0');
    int len = 0;
    int total = 0;
    unsigned char* out = (unsigned char*)&data[0];
    if (!ctx || EVP_EncryptInit_ex(ctx.get(), EVP_aes_256_gcm(), NULL, key, iv) != 1 ||
        EVP_EncryptUpdate(ctx.get(), NULL, &len, (const unsigned char*)strPath.data(),
                          (int)strPath.size()) != 1 ||
        EVP_EncryptUpdate(ctx.get(), out, &len, (const unsigned char*)strPlain.data(),
                          (int)strPlain.size()) != 1) {
        return false;
    }
    total = len;
    if (EVP_EncryptFinal_ex(ctx.get(), out + total, &len) != 1) {
        return false;
    }
    total += len;
    if (EVP_CIPHER_CTX_ctrl(ctx.get(), EVP_CTRL_GCM_GET_TAG, kTagLen, out + total) != 1) {
        return false;
    }
    data.resize(total + kTagLen);
    Json::Value js(Json::objectValue);
    js["iv"] = Base64Encode(std::string((const char*)iv, sizeof(iv)));
    js["data"] = Base64Encode(data);
    jsSealed = js;
    return true;
}

bool Unseal(const std::string& strToken, const std::string& strPath, const Json::Value& jsSealed,
            std::string& strPlain) {
    if (!jsSealed.isObject() || !jsSealed["iv"].isString() || !jsSealed["data"].isString()) {
        return false;
    }
    std::string iv;
    std::string data;
    if (!Base64Decode(jsSealed["iv"].asString(), iv) || iv.size() != kIvLen ||
        !Base64Decode(jsSealed["data"].asString(), data) || data.size() < kTagLen) {
        return false;
    }
    unsigned char key[kKeyLen];
    if (!sealKeyDerive(strToken, key)) {
        return false;
    }
    size_t cipherLen = data.size() - kTagLen;
    std::string plain(cipherLen + 1, '\0');
    CipherCtx ctx(EVP_CIPHER_CTX_new());
    int len = 0;
    int total = 0;
    unsigned char* out = (unsigned char*)&plain[0];
    if (!ctx ||
        EVP_DecryptInit_ex(ctx.get(), EVP_aes_256_gcm(), NULL, key,
                           (const unsigned char*)iv.data()) != 1 ||
        EVP_DecryptUpdate(ctx.get(), NULL, &len, (const unsigned char*)strPath.data(),
                          (int)strPath.size()) != 1 ||
        EVP_DecryptUpdate(ctx.get(), out, &len, (const unsigned char*)data.data(),
                          (int)cipherLen) != 1) {
        return false;
    }
    total = len;
    if (EVP_CIPHER_CTX_ctrl(ctx.get(), EVP_CTRL_GCM_SET_TAG, kTagLen,
                            (void*)(data.data() + cipherLen)) != 1 ||
        EVP_DecryptFinal_ex(ctx.get(), out + total, &len) != 1) {
        return false;  // the tag did not match: nothing of the text is given out
    }
    total += len;
    plain.resize(total);
    strPlain.swap(plain);
    return true;
}

std::string CaFilePath() {
    char buf[4096] = {0};
    std::string path = VUROCRED_DEFAULT_CA_FILE;
    // Only an absolute path that stays below the root replaces the default.
    if (QLIBCFileGetKeyValue(VUROCRED_CONF_PATH, "ca_file", buf, sizeof(buf), 0) > 0 &&
        buf[0] == '/' &&
        std::string("/" + std::string(buf) + "/").find("/../") == std::string::npos) {
        path = buf;
    }
    return VUROSysPathStr(path);
}

}  // namespace vurocred
