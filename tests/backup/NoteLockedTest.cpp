// The locked-note scheme: objects sealed by the test with OpenSSL's encrypting side
// (PBKDF2, RFC 3394 wrap, AES-128-GCM) and opened by ours; wrong passwords, failed tags and
// damaged parameters told apart; the streaming decryption equal to the whole one.
#include <gtest/gtest.h>
#include <openssl/evp.h>
#include <openssl/rand.h>

#include <random>

#include "NoteCrypto.h"

using namespace veldrake::backup;

namespace {

std::string Random(size_t bytes) {
  std::string out(bytes, '\0');
  EXPECT_EQ(RAND_bytes(reinterpret_cast<unsigned char*>(&out[0]), static_cast<int>(bytes)), 1);
  return out;
}

const unsigned char* U(const std::string& s) {
  return reinterpret_cast<const unsigned char*>(s.data());
}

// Seals `plain` under `password` as a phone does; the ciphertext into *data.
LockedObject Seal(const std::string& password, const std::string& plain, std::string* data) {
  LockedObject object;
  object.salt = Random(16);
  object.iterations = 1000;
  object.iv = Random(16);
  std::string kek(16, '\0'), key = Random(16);
  PKCS5_PBKDF2_HMAC(password.data(), static_cast<int>(password.size()), U(object.salt), 16, 1000,
                    EVP_sha256(), 16, reinterpret_cast<unsigned char*>(&kek[0]));
  EVP_CIPHER_CTX* ctx = EVP_CIPHER_CTX_new();
  EVP_CIPHER_CTX_set_flags(ctx, EVP_CIPHER_CTX_FLAG_WRAP_ALLOW);
  unsigned char wrapped[32];
  int n = 0, tail = 0;
  EVP_EncryptInit_ex(ctx, EVP_aes_128_wrap(), nullptr, U(kek), nullptr);
  EVP_EncryptUpdate(ctx, wrapped, &n, U(key), 16);
  EVP_EncryptFinal_ex(ctx, wrapped + n, &tail);
  object.wrappedKey.assign(reinterpret_cast<char*>(wrapped), static_cast<size_t>(n + tail));
  EVP_CIPHER_CTX_reset(ctx);
  data->assign(plain.size(), '\0');
  EVP_EncryptInit_ex(ctx, EVP_aes_128_gcm(), nullptr, nullptr, nullptr);
  EVP_CIPHER_CTX_ctrl(ctx, EVP_CTRL_GCM_SET_IVLEN, 16, nullptr);
  EVP_EncryptInit_ex(ctx, nullptr, nullptr, U(key), U(object.iv));
  EVP_EncryptUpdate(ctx, reinterpret_cast<unsigned char*>(&(*data)[0]), &n, U(plain),
                    static_cast<int>(plain.size()));
  EVP_EncryptFinal_ex(ctx, nullptr, &tail);
  object.tag.assign(16, '\0');
  EVP_CIPHER_CTX_ctrl(ctx, EVP_CTRL_GCM_GET_TAG, 16, &object.tag[0]);
  EVP_CIPHER_CTX_free(ctx);
  return object;
}

TEST(NoteLocked, TheFirstPasswordThatOpensTheObjectIsFound) {
  const std::string password = "hunter2 \xE2\x9A\xBF", plain = "a locked body";
  std::string data;
  const LockedObject object = Seal(password, plain, &data);
  LockedObject flipped = object;
  flipped.tag[3] ^= 1;
  std::string shortData;
  const LockedObject shortObject = Seal(password, "short", &shortData);
  const struct {
    const char* what;
    const LockedObject& object;
    const std::string& data;
    std::vector<std::string> passwords;
    int found;
  } cases[] = {
      {"the second of three", object, data, {"nope", password, "later"}, 1},
      {"none fits", object, data, {"nope", "hunter2"}, -1},
      {"no passwords", object, data, {}, -1},
      {"a failed tag is a wrong password", flipped, data, {password}, -1},
      {"data shorter than its tag", shortObject, shortData, {password}, 0},
  };
  for (const auto& c : cases) {
    std::string key, opened;
    EXPECT_EQ(FindNoteKey(c.passwords, c.object, &c.data, &key, &opened), c.found) << c.what;
    EXPECT_EQ(opened, c.found < 0 ? "" : &c.data == &data ? plain : "short") << c.what;
    EXPECT_EQ(key.size(), c.found < 0 ? 0u : 16u) << c.what;
  }
}

TEST(NoteLocked, DamagedParametersAreNoWrongPassword) {
  std::string data;
  const LockedObject good = Seal("pw", "x", &data);
  const struct {
    const char* what;
    void (*damage)(LockedObject*);
  } cases[] = {
      {"wrapped key cut short", [](LockedObject* o) { o->wrappedKey.resize(7); }},
      {"no rounds", [](LockedObject* o) { o->iterations = 0; }},
      {"rounds for hours", [](LockedObject* o) { o->iterations = INT32_MAX; }},
      {"tag cut short", [](LockedObject* o) { o->tag.resize(15); }},
      {"no IV", [](LockedObject* o) { o->iv.clear(); }},
      {"no salt", [](LockedObject* o) { o->salt.clear(); }},
  };
  EXPECT_TRUE(WellFormed(good));
  for (const auto& c : cases) {
    LockedObject damaged = good;
    c.damage(&damaged);
    EXPECT_FALSE(WellFormed(damaged)) << c.what;
    std::string key, plain;
    EXPECT_EQ(FindNoteKey({"pw"}, damaged, &data, &key, &plain), -1) << c.what;
  }
}

TEST(NoteLocked, StreamingDecryptionEqualsTheWhole) {
  std::mt19937 random(7);
  const std::string plain = Random(100000);
  std::string data, key;
  const LockedObject object = Seal("pw", plain, &data);
  ASSERT_EQ(UnwrapNoteKey("pw", object, &key), Unlock::kOk);
  for (const bool tampered : {false, true}) {
    LockedObject sealed = object;
    if (tampered) sealed.tag[0] ^= 0x40;
    GcmStream stream;
    ASSERT_TRUE(stream.Begin(key, sealed));
    std::string out(data.size(), '\0');
    for (size_t at = 0; at < data.size();) {
      const size_t piece = std::min<size_t>(data.size() - at, 1 + random() % 9000);
      ASSERT_TRUE(stream.Update(U(data) + at, piece, reinterpret_cast<unsigned char*>(&out[at])));
      at += piece;
    }
    EXPECT_EQ(out, plain);
    EXPECT_EQ(stream.Finish(), tampered ? Unlock::kWrongPassword : Unlock::kOk);
  }
}

}  // namespace
