/* sim_tls.cpp - the simulator's certificates: an EC CA and a server
 * certificate for 127.0.0.1 kept below the root (made once, with libcrypto),
 * the CA added to the root's CA file, and, made fresh each run, a
 * stranger's certificate ("foreign_cert") and one of our CA for another
 * name ("wrong_name_cert"). */
#include <fcntl.h>
#include <openssl/bn.h>
#include <openssl/err.h>
#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/x509v3.h>
#include <sys/stat.h>
#include <unistd.h>

#include <fstream>
#include <sstream>

#include "sim.h"
#include "vurocore.h"
#include "vurocredential_seal.h"
#include "vurofs.h"

namespace peersim {

namespace {

struct KeyFree {
    void operator()(EVP_PKEY* p) const { EVP_PKEY_free(p); }
};
struct CertFree {
    void operator()(X509* p) const { X509_free(p); }
};
struct BioFree {
    void operator()(BIO* p) const { BIO_free(p); }
};
struct ExtFree {
    void operator()(X509_EXTENSION* p) const { X509_EXTENSION_free(p); }
};
struct BnFree {
    void operator()(BIGNUM* p) const { BN_free(p); }
};
using Key = std::unique_ptr<EVP_PKEY, KeyFree>;
using Cert = std::unique_ptr<X509, CertFree>;
using Bio = std::unique_ptr<BIO, BioFree>;

// Where the simulator keeps what it made, below the root.
const char kSimSslDir[] = "/etc/vuro/ssl/peer-sim";

struct Pair {
    Key key;
    Cert cert;
};

bool extAdd(X509* cert, X509* issuer, int nid, const char* value) {
    X509V3_CTX ctx;
    X509V3_set_ctx_nodb(&ctx);
    X509V3_set_ctx(&ctx, issuer, cert, nullptr, nullptr, 0);
    std::unique_ptr<X509_EXTENSION, ExtFree> ext(
        X509V3_EXT_conf_nid(nullptr, &ctx, nid, const_cast<char*>(value)));
    return ext && X509_add_ext(cert, ext.get(), -1) == 1;
}

// A P-256 key and a certificate for it, signed by issuer (itself when null).
bool pairMake(const char* commonName, const Pair* issuer, bool ca, Pair* pOut,
              const char* altNames = "IP:127.0.0.1,DNS:localhost") {
    Key key(EVP_EC_gen("P-256"));
    Cert cert(X509_new());
    std::unique_ptr<BIGNUM, BnFree> serial(BN_new());
    if (!key || !cert || !serial || X509_set_version(cert.get(), 2) != 1 ||
        BN_rand(serial.get(), 63, BN_RAND_TOP_ANY, BN_RAND_BOTTOM_ANY) != 1 ||
        !BN_to_ASN1_INTEGER(serial.get(), X509_get_serialNumber(cert.get())) ||
        !X509_gmtime_adj(X509_getm_notBefore(cert.get()), -3600) ||
        !X509_gmtime_adj(X509_getm_notAfter(cert.get()), 20L * 365 * 86400) ||
        X509_set_pubkey(cert.get(), key.get()) != 1) {
        return false;
    }
    X509_NAME* name = X509_get_subject_name(cert.get());
    X509_NAME_add_entry_by_txt(name, "O", MBSTRING_ASC, (const unsigned char*)"tarn peer simulator",
                               -1, -1, 0);
    X509_NAME_add_entry_by_txt(name, "CN", MBSTRING_ASC, (const unsigned char*)commonName, -1, -1,
                               0);
    X509* issuerCert = issuer ? issuer->cert.get() : cert.get();
    EVP_PKEY* signKey = issuer ? issuer->key.get() : key.get();
    if (X509_set_issuer_name(cert.get(), X509_get_subject_name(issuerCert)) != 1) return false;
    bool ok = extAdd(cert.get(), issuerCert, NID_subject_key_identifier, "hash") &&
              extAdd(cert.get(), issuerCert, NID_authority_key_identifier, "keyid:always");
    if (ca) {
        ok = ok && extAdd(cert.get(), issuerCert, NID_basic_constraints, "critical,CA:TRUE") &&
             extAdd(cert.get(), issuerCert, NID_key_usage, "critical,keyCertSign,cRLSign");
    } else {
        ok = ok && extAdd(cert.get(), issuerCert, NID_basic_constraints, "critical,CA:FALSE") &&
             extAdd(cert.get(), issuerCert, NID_key_usage, "critical,digitalSignature") &&
             extAdd(cert.get(), issuerCert, NID_ext_key_usage, "serverAuth") &&
             extAdd(cert.get(), issuerCert, NID_subject_alt_name, altNames);
    }
    if (!ok || X509_sign(cert.get(), signKey, EVP_sha256()) <= 0) return false;
    pOut->key = std::move(key);
    pOut->cert = std::move(cert);
    return true;
}

std::string certPem(X509* cert) {
    Bio bio(BIO_new(BIO_s_mem()));
    if (!bio || PEM_write_bio_X509(bio.get(), cert) != 1) return "";
    char* data = nullptr;
    long n = BIO_get_mem_data(bio.get(), &data);
    return std::string(data, (size_t)n);
}

std::string keyPem(EVP_PKEY* key) {
    Bio bio(BIO_new(BIO_s_mem()));
    if (!bio ||
        PEM_write_bio_PrivateKey(bio.get(), key, nullptr, nullptr, 0, nullptr, nullptr) != 1) {
        return "";
    }
    char* data = nullptr;
    long n = BIO_get_mem_data(bio.get(), &data);
    return std::string(data, (size_t)n);
}

bool fileRead(const std::string& path, std::string* pText) {
    // O_NOFOLLOW: a link planted in the root must not lead the reads out of it.
    int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW);
    if (fd < 0) return false;
    std::string text;
    char buf[8192];
    ssize_t n;
    while ((n = read(fd, buf, sizeof(buf))) > 0) text.append(buf, (size_t)n);
    close(fd);
    if (n < 0) return false;
    *pText = text;
    return true;
}

bool fileWrite(const std::string& path, const std::string& text, mode_t mode, bool append) {
    int flags = O_WRONLY | O_CREAT | O_CLOEXEC | O_NOFOLLOW | (append ? O_APPEND : O_TRUNC);
    int fd = open(path.c_str(), flags, mode);
    if (fd < 0) return false;
    size_t done = 0;
    while (done < text.size()) {
        ssize_t n = write(fd, text.data() + done, text.size() - done);
        if (n <= 0) {
            close(fd);
            return false;
        }
        done += (size_t)n;
    }
    return close(fd) == 0;
}

bool pairLoad(const std::string& certPath, const std::string& keyPath, Pair* pOut) {
    std::string certText, keyText;
    if (!fileRead(certPath, &certText) || !fileRead(keyPath, &keyText)) return false;
    Bio certBio(BIO_new_mem_buf(certText.data(), (int)certText.size()));
    Bio keyBio(BIO_new_mem_buf(keyText.data(), (int)keyText.size()));
    if (!certBio || !keyBio) return false;
    pOut->cert.reset(PEM_read_bio_X509(certBio.get(), nullptr, nullptr, nullptr));
    pOut->key.reset(PEM_read_bio_PrivateKey(keyBio.get(), nullptr, nullptr, nullptr));
    return pOut->cert && pOut->key &&
           X509_check_private_key(pOut->cert.get(), pOut->key.get()) == 1;
}

bool pairSave(const Pair& pair, const std::string& certPath, const std::string& keyPath) {
    std::string cert = certPem(pair.cert.get());
    std::string key = keyPem(pair.key.get());
    return !cert.empty() && !key.empty() && fileWrite(keyPath, key, 0600, false) &&
           fileWrite(certPath, cert, 0644, false);
}

SSL_CTX* contextMake(const Pair& server) {
    SSL_CTX* ctx = SSL_CTX_new(TLS_server_method());
    if (ctx == nullptr) return nullptr;
    SSL_CTX_set_min_proto_version(ctx, TLS1_2_VERSION);
    // Many short connections from many clients: no session cache to grow.
    SSL_CTX_set_session_cache_mode(ctx, SSL_SESS_CACHE_OFF);
    if (SSL_CTX_use_certificate(ctx, server.cert.get()) != 1 ||
        SSL_CTX_use_PrivateKey(ctx, server.key.get()) != 1 || SSL_CTX_check_private_key(ctx) != 1) {
        SSL_CTX_free(ctx);
        return nullptr;
    }
    return ctx;
}

// A path with ".." in it could lead out of the root.
bool pathClimbs(const std::string& path) {
    return path == ".." || path.find("/../") != std::string::npos ||
           path.compare(0, 3, "../") == 0 ||
           (path.size() >= 3 && path.compare(path.size() - 3, 3, "/..") == 0);
}

}  // namespace

bool tlsSetup(Tls* pTls, std::string* pWhy) {
    std::string dir = VUROSysPathStr(kSimSslDir);
    if (VUROFSMkdirP(dir.c_str(), nullptr, TRUE, UID_ERR, GID_ERR, 0755) != 0) {
        *pWhy = "cannot make " + dir;
        return false;
    }
    Pair ca, server;
    if (!pairLoad(dir + "/ca.pem", dir + "/ca.key", &ca) ||
        !pairLoad(dir + "/server.pem", dir + "/server.key", &server)) {
        if (!pairMake("tarn peer simulator CA", nullptr, true, &ca) ||
            !pairMake("127.0.0.1", &ca, false, &server) ||
            !pairSave(ca, dir + "/ca.pem", dir + "/ca.key") ||
            !pairSave(server, dir + "/server.pem", dir + "/server.key")) {
            *pWhy = "cannot make the certificates in " + dir;
            return false;
        }
    }

    // The CA joins the root's CA file once, whoever else is in it.
    std::string caFile = vurocred::CaFilePath();
    if (pathClimbs(caFile)) {
        *pWhy = "the CA file path leaves the root: " + caFile;
        return false;
    }
    std::string caPem = certPem(ca.cert.get());
    std::string have;
    if (!fileRead(caFile, &have)) have.clear();
    if (have.find(caPem) == std::string::npos) {
        std::string caDir = caFile.substr(0, caFile.rfind('/'));
        if (!caDir.empty()) VUROFSMkdirP(caDir.c_str(), nullptr, TRUE, UID_ERR, GID_ERR, 0755);
        std::string text = (!have.empty() && have.back() != '\n') ? "\n" + caPem : caPem;
        if (!fileWrite(caFile, text, 0644, true)) {
            *pWhy = "cannot add the CA to " + caFile;
            return false;
        }
    }

    Pair strangerCa, stranger;
    if (!pairMake("stranger CA", nullptr, true, &strangerCa) ||
        !pairMake("127.0.0.1", &strangerCa, false, &stranger)) {
        *pWhy = "cannot make the foreign certificate";
        return false;
    }
    // Signed by the trusted CA, but for a name no client of 127.0.0.1 asks for.
    Pair elsewhere;
    if (!pairMake("elsewhere.invalid", &ca, false, &elsewhere, "DNS:elsewhere.invalid")) {
        *pWhy = "cannot make the certificate for another name";
        return false;
    }
    pTls->trusted = contextMake(server);
    pTls->foreign = contextMake(stranger);
    pTls->wrongName = contextMake(elsewhere);
    if (pTls->trusted == nullptr || pTls->foreign == nullptr || pTls->wrongName == nullptr) {
        *pWhy = "cannot set up TLS";
        return false;
    }
    return true;
}

}  // namespace peersim
