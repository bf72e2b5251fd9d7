/* serve_cert.cpp - the service's own certificate: a self-signed P-256
 * certificate for localhost and 127.0.0.1 and its key, made with libcrypto
 * when "tarn init" lays out a root that has none. */
#include <errno.h>
#include <fcntl.h>
#include <openssl/bn.h>
#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/x509v3.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include <memory>

#include <vurocore.h>
#include <vurofs.h>

#include "serve.h"

namespace tarncli {

namespace {

struct OsslFree {
    void operator()(EVP_PKEY* p) const { EVP_PKEY_free(p); }
    void operator()(X509* p) const { X509_free(p); }
    void operator()(BIO* p) const { BIO_free(p); }
    void operator()(BIGNUM* p) const { BN_free(p); }
    void operator()(X509_EXTENSION* p) const { X509_EXTENSION_free(p); }
};
template <class T>
using Ossl = std::unique_ptr<T, OsslFree>;

bool extensionAdd(X509* cert, int nid, const char* value) {
    X509V3_CTX ctx;
    X509V3_set_ctx_nodb(&ctx);
    X509V3_set_ctx(&ctx, cert, cert, nullptr, nullptr, 0);
    Ossl<X509_EXTENSION> ext(X509V3_EXT_conf_nid(nullptr, &ctx, nid, const_cast<char*>(value)));
    return ext && X509_add_ext(cert, ext.get(), -1) == 1;
}

std::string pemOf(X509* cert, EVP_PKEY* key) {
    Ossl<BIO> bio(BIO_new(BIO_s_mem()));
    if (!bio) return "";
    int ok = cert != nullptr
                 ? PEM_write_bio_X509(bio.get(), cert)
                 : PEM_write_bio_PrivateKey(bio.get(), key, nullptr, nullptr, 0, nullptr, nullptr);
    if (ok != 1) return "";
    char* data = nullptr;
    long n = BIO_get_mem_data(bio.get(), &data);
    return std::string(data, (size_t)n);
}

/* Written whole under a temporary name, then renamed: a reader never sees
 * half a key, and a link planted at the name is replaced, not followed. */
bool fileReplace(const std::string& path, const std::string& text, mode_t mode) {
    std::string tmp = path + ".new";
    unlink(tmp.c_str());
    int fd = open(tmp.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, mode);
    if (fd < 0) return false;
    bool ok = fchmod(fd, mode) == 0 && write(fd, text.data(), text.size()) == (ssize_t)text.size();
    ok = fsync(fd) == 0 && ok;
    ok = close(fd) == 0 && ok;
    if (ok && rename(tmp.c_str(), path.c_str()) == 0) return true;
    unlink(tmp.c_str());
    return false;
}

}  // namespace

bool serveCertMake(std::string* pWhy) {
    std::string certPath = VUROSysPathStr(kServeCertPath, VURO_SYSPATH_NOFOLLOW);
    std::string keyPath = VUROSysPathStr(kServeKeyPath, VURO_SYSPATH_NOFOLLOW);
    if (certPath.empty() || keyPath.empty()) {
        *pWhy = "the certificate's folder lies outside the root";
        return false;
    }
    struct stat st;
    // A certificate someone installed on purpose stays.
    if (lstat(certPath.c_str(), &st) == 0 && S_ISREG(st.st_mode) &&
        lstat(keyPath.c_str(), &st) == 0 && S_ISREG(st.st_mode)) {
        return true;
    }
    std::string dir = certPath.substr(0, certPath.rfind('/'));
    if (VUROFSMkdirP(dir.c_str(), nullptr, TRUE, UID_ERR, GID_ERR, 0755) != 0) {
        *pWhy = "cannot make " + dir + ": " + strerror(errno);
        return false;
    }
    Ossl<EVP_PKEY> key(EVP_EC_gen("P-256"));
    Ossl<X509> cert(X509_new());
    Ossl<BIGNUM> serial(BN_new());
    bool ok = key && cert && serial && X509_set_version(cert.get(), 2) == 1 &&
              BN_rand(serial.get(), 63, BN_RAND_TOP_ANY, BN_RAND_BOTTOM_ANY) == 1 &&
              BN_to_ASN1_INTEGER(serial.get(), X509_get_serialNumber(cert.get())) != nullptr &&
              X509_gmtime_adj(X509_getm_notBefore(cert.get()), -3600) != nullptr &&
              X509_gmtime_adj(X509_getm_notAfter(cert.get()), 10L * 365 * 86400) != nullptr &&
              X509_set_pubkey(cert.get(), key.get()) == 1;
    X509_NAME* name = ok ? X509_get_subject_name(cert.get()) : nullptr;
    ok = ok &&
         X509_NAME_add_entry_by_txt(name, "O", MBSTRING_ASC, (const unsigned char*)"tarn service",
                                    -1, -1, 0) == 1 &&
         X509_NAME_add_entry_by_txt(name, "CN", MBSTRING_ASC, (const unsigned char*)"localhost", -1,
                                    -1, 0) == 1 &&
         X509_set_issuer_name(cert.get(), name) == 1 &&
         extensionAdd(cert.get(), NID_subject_key_identifier, "hash") &&
         extensionAdd(cert.get(), NID_key_usage, "critical,digitalSignature") &&
         extensionAdd(cert.get(), NID_ext_key_usage, "serverAuth") &&
         extensionAdd(cert.get(), NID_subject_alt_name, "DNS:localhost,IP:127.0.0.1,IP:::1") &&
         X509_sign(cert.get(), key.get(), EVP_sha256()) > 0;
    std::string certPem = ok ? pemOf(cert.get(), nullptr) : "";
    std::string keyPem = ok ? pemOf(nullptr, key.get()) : "";
    if (certPem.empty() || keyPem.empty()) {
        *pWhy = "cannot make the service's certificate";
        return false;
    }
    if (!fileReplace(keyPath, keyPem, 0600) || !fileReplace(certPath, certPem, 0644)) {
        *pWhy = "cannot write the service's certificate under " + dir + ": " + strerror(errno);
        return false;
    }
    return true;
}

}  // namespace tarncli
