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
  size_t used = 0;
  out.resize((bytes.size() + 2) / 3 * 4 + 1);  // EVP_EncodeBlock ends with a NUL
  for (size_t pos = 0; pos < bytes.size(); pos += kChunk) {
    const size_t n = std::min(kChunk, bytes.size() - pos);
    const int written = EVP_EncodeBlock(reinterpret_cast<unsigned char*>(&out[used]),
                                        reinterpret_cast<const unsigned char*>(bytes.data() + pos),
                                        static_cast<int>(n));
    used += static_cast<size_t>(written);
  }
  out.resize(used);
  return out;
}

std::string PhotoTypeName(const Photo& photo) {
  return TypeOf(photo).name;
}

std::string PhotoExtension(const Photo& photo) {
  return TypeOf(photo).extension;
}

std::string CropRectangle(const Photo& photo) {
  if (!photo.hasCrop) return "";
  unsigned char digest[EVP_MAX_MD_SIZE];
  unsigned int length = 0;
  if (EVP_Digest(photo.data.data(), photo.data.size(), digest, &length, EVP_md5(), nullptr) != 1)
    length = 0;
  const std::string side = std::to_string(photo.cropWidth);
  return "ABClipRect_1&" + std::to_string(photo.cropX) + "&" + std::to_string(photo.cropY) + "&" +
         side + "&" + side + "&" + Base64(std::string(reinterpret_cast<char*>(digest), length));
}

}  // namespace host
