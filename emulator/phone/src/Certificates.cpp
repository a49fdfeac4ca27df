// The computer-phone credentials: RSA keys and certificates made with OpenSSL, or read from a file.
#include "Certificates.h"

#include <openssl/bio.h>
#include <openssl/encoder.h>
#include <openssl/err.h>
#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/rsa.h>
#include <openssl/x509.h>
#include <openssl/x509v3.h>

#include <fstream>
#include <memory>
#include <mutex>
#include <sstream>
#include <vector>

namespace devicesim {
namespace phone {
namespace {

constexpr unsigned kKeyBits = 2048;
constexpr long kValiditySeconds = 10L * 365 * 24 * 3600;

using Key = std::unique_ptr<EVP_PKEY, decltype(&EVP_PKEY_free)>;
using Cert = std::unique_ptr<X509, decltype(&X509_free)>;
using Bio = std::unique_ptr<BIO, decltype(&BIO_free)>;

std::string OpenSslError(const char* what) {
  char text[256];
  ERR_error_string_n(ERR_get_error(), text, sizeof text);
  return std::string(what) + ": " + text;
}

std::string BioText(BIO* bio) {
  char* data = nullptr;
  const long length = BIO_get_mem_data(bio, &data);
  return length > 0 ? std::string(data, static_cast<size_t>(length)) : std::string();
}

bool AddExtension(X509* cert, X509* issuer, int nid, const char* value) {
  X509V3_CTX context;
  X509V3_set_ctx(&context, issuer, cert, nullptr, nullptr, 0);
  X509_EXTENSION* extension = X509V3_EXT_conf_nid(nullptr, &context, nid, value);
  if (!extension) return false;
  const bool added = X509_add_ext(cert, extension, -1) == 1;
  X509_EXTENSION_free(extension);
  return added;
}

// A certificate for `key`, signed by `issuerKey` (and named after `issuer`, or itself).
Cert MakeCertificate(EVP_PKEY* key, EVP_PKEY* issuerKey, X509* issuer, long serial,
                     const char* commonName, bool authority) {
  Cert cert(X509_new(), X509_free);
  if (!cert) return cert;
  X509_set_version(cert.get(), 2);
  ASN1_INTEGER_set(X509_get_serialNumber(cert.get()), serial);
  X509_gmtime_adj(X509_getm_notBefore(cert.get()), 0);
  X509_gmtime_adj(X509_getm_notAfter(cert.get()), kValiditySeconds);
  X509_set_pubkey(cert.get(), key);
  X509_NAME* name = X509_get_subject_name(cert.get());
  X509_NAME_add_entry_by_txt(name, "CN", MBSTRING_ASC,
                             reinterpret_cast<const unsigned char*>(commonName), -1, -1, 0);
  X509_set_issuer_name(cert.get(), issuer ? X509_get_subject_name(issuer) : name);
  X509* signer = issuer ? issuer : cert.get();
  const bool ok = AddExtension(cert.get(), signer, NID_basic_constraints,
                               authority ? "critical,CA:TRUE" : "critical,CA:FALSE") &&
                  AddExtension(cert.get(), signer, NID_subject_key_identifier, "hash") &&
                  AddExtension(cert.get(), signer, NID_key_usage,
                               authority ? "critical,keyCertSign,cRLSign"
                                         : "critical,digitalSignature,keyEncipherment") &&
                  X509_sign(cert.get(), issuerKey, EVP_sha256()) > 0;
  if (!ok) cert.reset();
  return cert;
}

std::string CertPem(X509* cert) {
  Bio bio(BIO_new(BIO_s_mem()), BIO_free);
  PEM_write_bio_X509(bio.get(), cert);
  return BioText(bio.get());
}

std::string PrivateKeyPem(EVP_PKEY* key) {
  Bio bio(BIO_new(BIO_s_mem()), BIO_free);
  PEM_write_bio_PrivateKey_traditional(bio.get(), key, nullptr, nullptr, 0, nullptr, nullptr);
  return BioText(bio.get());
}

std::string Pkcs1PublicKeyPem(EVP_PKEY* key) {
  OSSL_ENCODER_CTX* context =
      OSSL_ENCODER_CTX_new_for_pkey(key, EVP_PKEY_PUBLIC_KEY, "PEM", "type-specific", nullptr);
  std::string pem;
  unsigned char* data = nullptr;
  size_t length = 0;
  if (context && OSSL_ENCODER_to_data(context, &data, &length) == 1)
    pem.assign(reinterpret_cast<char*>(data), length);
  OPENSSL_free(data);
  OSSL_ENCODER_CTX_free(context);
  return pem;
}

// The next certificate and private key of `bio`, as PEM in the forms pair records carry.
bool ReadPair(BIO* bio, std::string* certificate, std::string* privateKey,
              std::string* publicKey = nullptr) {
  Cert cert(PEM_read_bio_X509(bio, nullptr, nullptr, nullptr), X509_free);
  Key key(cert ? PEM_read_bio_PrivateKey(bio, nullptr, nullptr, nullptr) : nullptr, EVP_PKEY_free);
  if (!key || X509_check_private_key(cert.get(), key.get()) != 1) return false;
  *certificate = CertPem(cert.get());
  *privateKey = PrivateKeyPem(key.get());
  if (publicKey) *publicKey = Pkcs1PublicKeyPem(key.get());
  return !privateKey->empty() && (!publicKey || !publicKey->empty());
}

}  // namespace

bool LoadCredentials(const std::string& pemFile, PemCredentials* out, std::string* error) {
  std::ifstream in(pemFile, std::ios::binary);
  std::stringstream text;
  text << in.rdbuf();
  if (!in) return *error = "cannot read credentials from " + pemFile, false;
  const std::string pem = text.str();
  Bio bio(BIO_new_mem_buf(pem.data(), static_cast<int>(pem.size())), BIO_free);
  if (!bio || !ReadPair(bio.get(), &out->rootCertificate, &out->rootPrivateKey) ||
      !ReadPair(bio.get(), &out->hostCertificate, &out->hostPrivateKey) ||
      !ReadPair(bio.get(), &out->deviceCertificate, &out->devicePrivateKey, &out->devicePublicKey))
    return *error = pemFile +
                    ": expected the root's, the host's and the device's certificate "
                    "and private key, each matching",
           false;
  return true;
}

bool GenerateCredentials(PemCredentials* out, std::string* error) {
  Key root(EVP_RSA_gen(kKeyBits), EVP_PKEY_free), host(EVP_RSA_gen(kKeyBits), EVP_PKEY_free),
      device(EVP_RSA_gen(kKeyBits), EVP_PKEY_free);
  if (!root || !host || !device) return *error = OpenSslError("RSA key generation"), false;
  Cert rootCert = MakeCertificate(root.get(), root.get(), nullptr, 1, "Root", true);
  if (!rootCert) return *error = OpenSslError("root certificate"), false;
  Cert hostCert = MakeCertificate(host.get(), root.get(), rootCert.get(), 2, "Host", false);
  Cert deviceCert = MakeCertificate(device.get(), root.get(), rootCert.get(), 3, "Device", false);
  if (!hostCert || !deviceCert) return *error = OpenSslError("certificate"), false;
  out->rootCertificate = CertPem(rootCert.get());
  out->rootPrivateKey = PrivateKeyPem(root.get());
  out->hostCertificate = CertPem(hostCert.get());
  out->hostPrivateKey = PrivateKeyPem(host.get());
  out->deviceCertificate = CertPem(deviceCert.get());
  out->devicePrivateKey = PrivateKeyPem(device.get());
  out->devicePublicKey = Pkcs1PublicKeyPem(device.get());
  if (out->devicePublicKey.empty() || out->hostPrivateKey.empty())
    return *error = OpenSslError("PEM encoding"), false;
  return true;
}

bool CredentialsFor(size_t index, PemCredentials* out, std::string* error) {
  static std::mutex mutex;
  static std::vector<PemCredentials> made;
  std::lock_guard<std::mutex> lock(mutex);
  while (made.size() <= index) {
    PemCredentials credentials;
    if (!GenerateCredentials(&credentials, error)) return false;
    made.push_back(std::move(credentials));
  }
  *out = made[index];
  return true;
}

}  // namespace phone
}  // namespace devicesim
