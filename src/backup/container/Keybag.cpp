// Keybag parsing and the password's way to the class keys.
#include "Keybag.h"

#include <cstring>

#include "Crypto.h"

namespace veldrake::backup {
namespace {

constexpr size_t kTagBytes = 4;
constexpr size_t kLengthBytes = 4;
constexpr size_t kIntegerBytes = 4;

uint32_t BigEndian(const std::string& bytes, size_t at) {
  uint32_t value = 0;
  for (size_t i = 0; i < 4; ++i) value = (value << 8) | static_cast<unsigned char>(bytes[at + i]);
  return value;
}

bool Integer(const std::string& value, uint32_t* out) {
  if (value.size() != kIntegerBytes) return false;
  *out = BigEndian(value, 0);
  return true;
}

}  // namespace

Keybag::~Keybag() {
  for (Class& c : classes_) Wipe(&c.key);
}

bool Keybag::Take(const std::string& tag, const std::string& value, std::string* why) {
  const bool inClass = !classes_.empty();
  bool ok = true;
  if (tag == "UUID") {
    if (sawHeaderUuid_) classes_.emplace_back();
    sawHeaderUuid_ = true;
  } else if (inClass && tag == "CLAS") {
    ok = Integer(value, &classes_.back().protectionClass);
  } else if (inClass && tag == "WRAP") {
    ok = Integer(value, &classes_.back().wrap);
  } else if (inClass && tag == "WPKY") {
    ok = value.size() == kWrappedKeyBytes;
    classes_.back().wrapped = value;
  } else if (!inClass && tag == "SALT") {
    salt_ = value;
  } else if (!inClass && tag == "ITER") {
    ok = Integer(value, &iterations_);
  } else if (!inClass && tag == "DPSL") {
    doubleSalt_ = value;
  } else if (!inClass && tag == "DPIC") {
    ok = Integer(value, &doubleIterations_);
  }
  if (!ok) *why = "the keybag's " + tag + " entry has a wrong length";
  return ok;
}

bool Keybag::Parse(const std::string& bytes, std::string* why) {
  size_t at = 0;
  while (at < bytes.size()) {
    if (bytes.size() - at < kTagBytes + kLengthBytes) {
      *why = "the keybag ends inside an entry";
      return false;
    }
    const std::string tag = bytes.substr(at, kTagBytes);
    const uint32_t length = BigEndian(bytes, at + kTagBytes);
    at += kTagBytes + kLengthBytes;
    if (length > bytes.size() - at) {
      *why = "the keybag's " + tag + " entry runs past its end";
      return false;
    }
    if (!Take(tag, bytes.substr(at, length), why)) return false;
    at += length;
  }
  if (salt_.empty() || iterations_ == 0 || iterations_ > kMaxSha1Iterations ||
      doubleIterations_ > kMaxSha256Iterations || (doubleIterations_ != 0 && doubleSalt_.empty())) {
    *why = "the keybag's salt or iteration count is missing or out of range";
    return false;
  }
  for (const Class& c : classes_) {
    if ((c.wrap & kWrapByPasscode) != 0 && c.wrapped.size() != kWrappedKeyBytes) {
      *why = "a class of the keybag has no wrapped key";
      return false;
    }
  }
  return true;
}

Keybag::Opened Keybag::Open(const char* password) {
  std::string first, passcodeKey;
  const size_t bytes = std::strlen(password);
  const bool twoSteps = doubleIterations_ != 0;
  const bool derived =
      twoSteps ? Pbkdf2(password, bytes, doubleSalt_, doubleIterations_, true, &first) &&
                     Pbkdf2(first.data(), first.size(), salt_, iterations_, false, &passcodeKey)
               : Pbkdf2(password, bytes, salt_, iterations_, false, &passcodeKey);
  Wipe(&first);
  const Opened result = derived ? Unlock(passcodeKey) : kUnusable;
  Wipe(&passcodeKey);
  return result;
}

Keybag::Opened Keybag::Unlock(const std::string& passcodeKey) {
  Opened result = kUnusable;
  for (Class& c : classes_) {
    if ((c.wrap & kWrapByPasscode) == 0) continue;  // needs the phone's own key
    const Unwrap unwrapped = UnwrapKey(passcodeKey, c.wrapped, &c.key);
    if (unwrapped == Unwrap::kIntegrity) {
      result = kWrongPassword;
      break;
    }
    if (unwrapped == Unwrap::kOk) result = kOpened;
  }
  if (result != kOpened)
    for (Class& c : classes_) Wipe(&c.key);
  return result;
}

const std::string* Keybag::ClassKey(uint32_t protectionClass) const {
  for (const Class& c : classes_)
    if (c.protectionClass == protectionClass && !c.key.empty()) return &c.key;
  return nullptr;
}

}  // namespace veldrake::backup
