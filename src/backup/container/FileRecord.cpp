// The MBFile archive of one Files row.
#include "FileRecord.h"

#include <string>
#include <vector>

#include "BPListReader/BPListReader.h"
#include "Crypto.h"
#include "PlistMember.h"
#include "prop/prop.h"

namespace veldrake::backup {
namespace {

// NS.data of an EncryptionKey: the class, little-endian, then the wrapped key.
constexpr size_t kClassBytes = 4;

// The object a UID member of `dict` points to in `objects`; null when there is none.
const prop* Deref(const prop& dict, const wchar_t* key, const std::vector<prop>& objects) {
  const prop* uid = Member(dict, key);
  if (uid == nullptr || !uid->hasTag(prop::object::TagUid)) return nullptr;
  const unsigned long long index = uid->_value->uid;
  return index < objects.size() ? &objects[index] : nullptr;
}

bool ReadKey(const prop& root, const std::vector<prop>& objects, FileRecord* out) {
  const prop* member = Member(root, L"EncryptionKey");
  if (member == nullptr) return true;  // an unencrypted backup's record
  const prop* holder = Deref(root, L"EncryptionKey", objects);
  if (holder == nullptr) return false;
  const prop* data = Member(*holder, L"NS.data");
  if (data == nullptr || !data->hasTag(prop::object::TagData)) return false;
  const std::string& bytes = *data->_value->bytes;
  if (bytes.size() != kClassBytes + kWrappedKeyBytes) return false;
  uint32_t protectionClass = 0;
  for (size_t i = kClassBytes; i-- > 0;)
    protectionClass = (protectionClass << 8) | static_cast<unsigned char>(bytes[i]);
  out->protectionClass = protectionClass;
  out->wrappedKey = bytes.substr(kClassBytes);
  return true;
}

}  // namespace

bool ParseFileRecord(const void* blob, size_t length, FileRecord* out) {
  BPListReader reader;
  if (blob == nullptr || !reader.open(blob, length)) return false;
  const prop archive = reader.getRootObject();
  const prop* objectsProp = Member(archive, L"$objects");
  const prop* top = Member(archive, L"$top");
  if (objectsProp == nullptr || top == nullptr || objectsProp->array() == nullptr) return false;
  const std::vector<prop>& objects = *objectsProp->array();
  const prop* root = Deref(*top, L"root", objects);
  if (root == nullptr || root->dict() == nullptr) return false;
  const prop* size = Member(*root, L"Size");
  if (size == nullptr || !size->hasTag(prop::object::TagInteger) || size->toInteger() < 0)
    return false;
  out->size = size->toInteger();
  const prop* protection = Member(*root, L"ProtectionClass");
  if (protection != nullptr && protection->hasTag(prop::object::TagInteger))
    out->protectionClass = static_cast<uint32_t>(protection->toInteger());
  return ReadKey(*root, objects, out);
}

bool IsFileId(const std::string& id) {
  constexpr size_t kFileIdDigits = 40;
  if (id.size() != kFileIdDigits) return false;
  for (char c : id)
    if (!((c >= '0' && c <= '9') || (c >= 'a' && c <= 'f'))) return false;
  return true;
}

}  // namespace veldrake::backup
