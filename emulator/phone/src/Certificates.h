// The keys and certificates of one emulated computer-phone relationship, made with
// OpenSSL at start: a root authority, the computer's (host's) certificate and the phone's
// (device's), all signed by the root, as a pair record carries them.
#ifndef DEVICESIM_PHONE_CERTIFICATES_H_
#define DEVICESIM_PHONE_CERTIFICATES_H_

#include <string>

namespace devicesim {
namespace phone {

struct PemCredentials {
  std::string rootCertificate, rootPrivateKey;
  std::string hostCertificate, hostPrivateKey;
  std::string deviceCertificate, devicePrivateKey;
  std::string devicePublicKey;  // PKCS#1 "RSA PUBLIC KEY", as lockdown hands it out
};

// False with a message when OpenSSL fails.
bool GenerateCredentials(PemCredentials* out, std::string* error);

// Reads fixed credentials from a PEM file holding, in this order, the root's certificate
// and private key, the host's and the device's. False with a message when the file cannot
// be read, a part is missing, or a certificate does not match its key.
bool LoadCredentials(const std::string& pemFile, PemCredentials* out, std::string* error);

// The credentials of the `index`-th phone, generated on first use and then kept in memory
// for the process's later daemons: key generation dominates a daemon's start.
bool CredentialsFor(size_t index, PemCredentials* out, std::string* error);

}  // namespace phone
}  // namespace devicesim

#endif  // DEVICESIM_PHONE_CERTIFICATES_H_
