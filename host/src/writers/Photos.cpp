// Image types, base64 and the phone's crop rectangle, through OpenSSL.
#include "Photos.h"

#include <openssl/evp.h>

#include <algorithm>

namespace host {
namespace {

struct ImageType {
  const char* mime;
  const char* name;       // vCard 3.0 TYPE
  const char* extension;  // of a file of its own
};

const ImageType kImageTypes[] = {
    {"image/jpeg", "JPEG", "jpg"}, {"image/png", "PNG", "png"}, {"image/heic", "HEIC", "heic"}};

const ImageType& TypeOf(const Photo& photo) {
  for (const ImageType& type : kImageTypes)
    if (photo.mimeType == type.mime) return type;
  return kImageTypes[0];  // Records admits only the three
}

// EVP_EncodeBlock takes an int length: a large image goes in whole groups of three bytes.
constexpr size_t kChunk = 3 * 1024 * 1024;

}  // namespace

std::string Base64(const std::string& bytes) {
  std::string out;
  AppendBase64(bytes.data(), bytes.size(), &out);
  return out;
}

void AppendBase64(const char* bytes, size_t size, std::string* out) {
  size_t used = out->size();
  out->resize(used + (size + 2) / 3 * 4 + 1);  // EVP_EncodeBlock ends with a NUL
  for (size_t pos = 0; pos < size; pos += kChunk) {
    const size_t n = std::min(kChunk, size - pos);
    const int written =
        EVP_EncodeBlock(reinterpret_cast<unsigned char*>(&(*out)[used]),
                        reinterpret_cast<const unsigned char*>(bytes + pos), static_cast<int>(n));
    used += static_cast<size_t>(written);
  }
  out->resize(used);
}

std::string PhotoTypeName(const Photo& photo) {
  return TypeOf(photo).name;
}

std::string PhotoExtension(const Photo& photo) {
  return TypeOf(photo).extension;
}

std::string CropRectangle(const Photo& photo) {
  if (!photo.hasCrop) return "";
  return CropRectangle(photo, CropDigest(photo.data.data(), photo.data.size()));
}

std::string CropRectangle(const Photo& photo, const std::string& digest) {
  if (!photo.hasCrop) return "";
  const std::string side = std::to_string(photo.cropWidth);
  return "ABClipRect_1&" + std::to_string(photo.cropX) + "&" + std::to_string(photo.cropY) + "&" +
         side + "&" + side + "&" + digest;
}

std::string CropDigest(const char* bytes, size_t size) {
  unsigned char digest[EVP_MAX_MD_SIZE];
  unsigned int length = 0;
  if (EVP_Digest(bytes, size, digest, &length, EVP_md5(), nullptr) != 1) length = 0;
  std::string out;
  AppendBase64(reinterpret_cast<const char*>(digest), length, &out);
  return out;
}

}  // namespace host
