// The primitives against published vectors, the file decryption's lengths and damage, and
// keybags: parsing of good and broken ones, and the password's way to the class keys.
#include <openssl/evp.h>

#include <fstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "BackupTestSupport.h"
#include "Crypto.h"
#include "Keybag.h"

namespace {

using namespace veldrake::backup;

std::string Hex(const std::string& hex) {
  std::string bytes;
  for (size_t i = 0; i + 1 < hex.size(); i += 2)
    bytes += static_cast<char>(std::stoi(hex.substr(i, 2), nullptr, 16));
  return bytes;
}

std::string Wrap(const std::string& kek, const std::string& key) {
  EVP_CIPHER_CTX* ctx = EVP_CIPHER_CTX_new();
  EVP_CIPHER_CTX_set_flags(ctx, EVP_CIPHER_CTX_FLAG_WRAP_ALLOW);
  EVP_EncryptInit_ex(ctx, EVP_aes_256_wrap(), nullptr,
                     reinterpret_cast<const unsigned char*>(kek.data()), nullptr);
  unsigned char out[64];
  int n = 0, tail = 0;
  EVP_EncryptUpdate(ctx, out, &n, reinterpret_cast<const unsigned char*>(key.data()),
                    static_cast<int>(key.size()));
  EVP_EncryptFinal_ex(ctx, out + n, &tail);
  EVP_CIPHER_CTX_free(ctx);
  return std::string(reinterpret_cast<char*>(out), static_cast<size_t>(n + tail));
}

std::string Cbc(const std::string& key, const std::string& plain, bool pad) {
  EVP_CIPHER_CTX* ctx = EVP_CIPHER_CTX_new();
  const unsigned char iv[16] = {};
  EVP_EncryptInit_ex(ctx, EVP_aes_256_cbc(), nullptr,
                     reinterpret_cast<const unsigned char*>(key.data()), iv);
  EVP_CIPHER_CTX_set_padding(ctx, pad ? 1 : 0);
  std::string out(plain.size() + 32, '\0');
  int n = 0, tail = 0;
  EVP_EncryptUpdate(ctx, reinterpret_cast<unsigned char*>(&out[0]), &n,
                    reinterpret_cast<const unsigned char*>(plain.data()),
                    static_cast<int>(plain.size()));
  EVP_EncryptFinal_ex(ctx, reinterpret_cast<unsigned char*>(&out[static_cast<size_t>(n)]), &tail);
  EVP_CIPHER_CTX_free(ctx);
  out.resize(static_cast<size_t>(n + tail));
  return out;
}

// RFC 3394 section 4.6: a 256-bit key under a 256-bit key-encrypting key.
const std::string kKek = Hex("000102030405060708090A0B0C0D0E0F101112131415161718191A1B1C1D1E1F");
const std::string kKeyData =
    Hex("00112233445566778899AABBCCDDEEFF000102030405060708090A0B0C0D0E0F");
const std::string kWrapped =
    Hex("28C9F404C4B810F4CBCCB35CFB87F8263F5786E2D80ED326CBC7F0E71A99F43BFB988B9B7A02DD21");

TEST(CryptoTest, UnwrapFollowsRfc3394AndTellsAWrongKey) {
  std::string flipped = kWrapped;
  flipped[39] ^= 1;
  std::string otherKek = kKek;
  otherKek[0] ^= 1;
  const struct {
    std::string kek, wrapped;
    Unwrap result;
  } table[] = {
      {kKek, kWrapped, Unwrap::kOk},
      {kKek, flipped, Unwrap::kIntegrity},
      {otherKek, kWrapped, Unwrap::kIntegrity},
      {kKek, kWrapped.substr(0, 32), Unwrap::kMalformed},
      {kKek.substr(0, 16), kWrapped, Unwrap::kMalformed},
  };
  for (const auto& row : table) {
    std::string key;
    EXPECT_EQ(UnwrapKey(row.kek, row.wrapped, &key), row.result);
    EXPECT_EQ(row.result == Unwrap::kOk, key == kKeyData);
  }
}

// RFC 6070 (HMAC-SHA1; its 20-byte results are the first block of ours) and the
// PBKDF2-HMAC-SHA256 vector of RFC 7914 section 11.
TEST(CryptoTest, Pbkdf2MatchesPublishedVectors) {
  const struct {
    std::string password, salt;
    uint32_t iterations;
    bool sha256;
    std::string prefix;
  } table[] = {
      {"password", "salt", 1, false, "0c60c80f961f0e71f3a9b524af6012062fe037a6"},
      {"password", "salt", 2, false, "ea6c014dc72d6f8ccd1ed92ace1d41f0d8de8957"},
      {"password", "salt", 4096, false, "4b007901b765489abead49d926f721d065a429c1"},
      {"passwd", "salt", 1, true,
       "55ac046e56e3089fec1691c22544b605f94185216dde0465e68b9d57c20dacbc"},
  };
  for (const auto& row : table) {
    std::string key;
    ASSERT_TRUE(Pbkdf2(row.password.data(), row.password.size(), row.salt, row.iterations,
                       row.sha256, &key));
    ASSERT_EQ(key.size(), kAesKeyBytes);
    EXPECT_EQ(key.substr(0, row.prefix.size() / 2), Hex(row.prefix)) << row.iterations;
  }
  std::string key;
  EXPECT_FALSE(Pbkdf2("p", 1, "s", 0, false, &key));
}

TEST(CryptoTest, DecryptFileKeepsTheTrueLengthAndRefusesDamage) {
  backuptest::TempDir dir;
  const std::string key = kKeyData;
  std::string big(3 * 1024 * 1024 + 5, '\0');
  for (size_t i = 0; i < big.size(); ++i) big[i] = static_cast<char>(i * 7 + i / 251);
  const std::string page(1024, 'p');
  const struct {
    std::string cipher;
    int64_t length;
    Decrypted result;
    std::string plain;
  } table[] = {
      {Cbc(key, "", true), 0, Decrypted::kOk, ""},
      {Cbc(key, "x", true), 1, Decrypted::kOk, "x"},
      {Cbc(key, std::string(16, 'a'), true), 16, Decrypted::kOk, std::string(16, 'a')},
      {Cbc(key, big, true), static_cast<int64_t>(big.size()), Decrypted::kOk, big},
      {Cbc(key, page, true), kWholePages, Decrypted::kOk, page},
      {Cbc(key, page, false), kWholePages, Decrypted::kOk, page},
      {Cbc(key, "abc", true).substr(0, 15), 3, Decrypted::kDamaged, ""},
      {Cbc(key, "abc", true), 40, Decrypted::kDamaged, ""},
  };
  int n = 0;
  for (const auto& row : table) {
    const std::string from = dir.path() + "/in" + std::to_string(n);
    const std::string to = dir.path() + "/out" + std::to_string(n++);
    std::ofstream(from, std::ios::binary) << row.cipher;
    EXPECT_EQ(DecryptFile(from, to, key, row.length), row.result) << n;
    if (row.result != Decrypted::kOk) continue;
    std::ifstream in(to, std::ios::binary);
    const std::string got((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    EXPECT_TRUE(got == row.plain) << n;
    EXPECT_EQ(std::filesystem::status(to).permissions() & std::filesystem::perms::all,
              std::filesystem::perms::owner_read | std::filesystem::perms::owner_write);
  }
  // Never over an existing file, never from a missing one.
  EXPECT_EQ(DecryptFile(dir.path() + "/in0", dir.path() + "/out0", key, 0),
            Decrypted::kCannotWrite);
  EXPECT_EQ(DecryptFile(dir.path() + "/none", dir.path() + "/new", key, 0), Decrypted::kCannotRead);
}

// --- Keybags ---

std::string Tlv(const std::string& tag, const std::string& value) {
  const uint32_t n = static_cast<uint32_t>(value.size());
  return tag +
         std::string{static_cast<char>(n >> 24), static_cast<char>(n >> 16),
                     static_cast<char>(n >> 8), static_cast<char>(n)} +
         value;
}
std::string Int(uint32_t v) {
  return {static_cast<char>(v >> 24), static_cast<char>(v >> 16), static_cast<char>(v >> 8),
          static_cast<char>(v)};
}

struct BagParts {
  std::string salt = "saltsaltsaltsaltsalt", dpsl = "dpsldpsldpsldpsldpsl";
  uint32_t iter = 10, dpic = 20;
  std::string classKey = std::string(32, 'k');
};

std::string PasscodeKey(const BagParts& p, const std::string& password) {
  std::string first, key;
  Pbkdf2(password.data(), password.size(), p.dpsl, p.dpic, true, &first);
  Pbkdf2(first.data(), first.size(), p.salt, p.iter, false, &key);
  return key;
}

// A keybag whose class 3 key is wrapped for `password`; with no password, a key wrapped
// under nothing (for keybags that must fail before any derivation).
std::string Bag(const BagParts& p, const std::string& password) {
  const std::string wrapped =
      password.empty() ? std::string(40, 'w') : Wrap(PasscodeKey(p, password), p.classKey);
  return Tlv("VERS", Int(3)) + Tlv("TYPE", Int(1)) + Tlv("UUID", std::string(16, 'u')) +
         Tlv("WRAP", Int(0)) + Tlv("SALT", p.salt) + Tlv("ITER", Int(p.iter)) +
         Tlv("DPWT", Int(1)) + Tlv("DPIC", Int(p.dpic)) + Tlv("DPSL", p.dpsl) +
         Tlv("UUID", std::string(16, 'c')) + Tlv("CLAS", Int(3)) + Tlv("WRAP", Int(3)) +
         Tlv("KTYP", Int(0)) + Tlv("WPKY", wrapped) + Tlv("UUID", std::string(16, 'd')) +
         Tlv("CLAS", Int(4)) + Tlv("WRAP", Int(1)) + Tlv("WPKY", std::string(40, 'w'));
}

TEST(KeybagTest, ThePasswordOpensTheClassKeysAndAWrongOneIsTold) {
  const BagParts parts;
  const std::string bag = Bag(parts, "secret");
  const struct {
    std::string password;
    Keybag::Opened opened;
  } table[] = {{"secret", Keybag::kOpened},
               {"Secret", Keybag::kWrongPassword},
               {"", Keybag::kWrongPassword}};
  for (const auto& row : table) {
    Keybag keybag;
    std::string why;
    ASSERT_TRUE(keybag.Parse(bag, &why)) << why;
    EXPECT_EQ(keybag.Open(row.password.c_str()), row.opened) << row.password;
    const std::string* key = keybag.ClassKey(3);
    EXPECT_EQ(key != nullptr && *key == parts.classKey, row.opened == Keybag::kOpened);
    EXPECT_EQ(keybag.ClassKey(4), nullptr);  // wrapped with the phone's own key only
  }
}

TEST(KeybagTest, BrokenKeybagsAreRefusedWithoutReadingPastThem) {
  const std::string good = Bag(BagParts(), "pw");
  BagParts hugeCount;
  hugeCount.dpic = Keybag::kMaxSha256Iterations + 1;
  BagParts noIterations;
  noIterations.iter = 0;
  const std::string shortKey = Tlv("SALT", "s") + Tlv("ITER", Int(1)) + Tlv("UUID", "u") +
                               Tlv("UUID", "c") + Tlv("CLAS", Int(1)) + Tlv("WRAP", Int(2)) +
                               Tlv("WPKY", std::string(39, 'w'));
  const std::string table[] = {
      good.substr(0, good.size() - 1),  // ends inside the last value
      good.substr(0, 6),                // ends inside a header
      good + "WPKY",                    // a tag with no length
      Tlv("ITER", "abc"),               // an integer of three bytes
      Tlv("ITER", Int(5)),              // no salt
      Bag(hugeCount, ""),               // a derivation of hours
      Bag(noIterations, ""),
      shortKey,                                        // a wrapped key of 39 bytes
      std::string("SALT\xff\xff\xff\xff", 8) + "abc",  // a length far past the end
  };
  for (const std::string& bytes : table) {
    Keybag keybag;
    std::string why;
    EXPECT_FALSE(keybag.Parse(bytes, &why));
    EXPECT_FALSE(why.empty());
  }
}

}  // namespace
