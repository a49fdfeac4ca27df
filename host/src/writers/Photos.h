// Photos: what the export formats make of a person's picture.
//
// The image's type was read from its bytes by the backup library; here it only names the
// vCard TYPE and the file extension. The crop is written the way the phone's own vCards
// write it: X-ABCROP-RECTANGLE=ABClipRect_1&X&Y&WIDTH&HEIGHT&DIGEST, the square's
// corner (Y from the bottom), its sides, and the base64 MD5 of the image's bytes.
// Base64 and MD5 come from OpenSSL. Thread contract: pure functions.
#ifndef VELDRAKE_HOST_PHOTOS_H_
#define VELDRAKE_HOST_PHOTOS_H_

#include <cstddef>
#include <string>

#include "Records.h"

namespace host {

// The folder of an export's photo files.
constexpr char kPhotoFolder[] = "photos";

// Standard base64 with padding, no line breaks.
std::string Base64(const std::string& bytes);
// The same appended to *out, whose capacity a caller may reuse from one image to the next.
void AppendBase64(const char* bytes, size_t size, std::string* out);

// "JPEG", "PNG" or "HEIC" for vCard 3.0's TYPE parameter.
std::string PhotoTypeName(const Photo& photo);
// "jpg", "png" or "heic" for a file of its own.
std::string PhotoExtension(const Photo& photo);
// The X-ABCROP-RECTANGLE value, or "" when the phone stored no crop.
std::string CropRectangle(const Photo& photo);
// The same with the image's digest already made (CropDigest), so that it can be made
// elsewhere than where the card is written.
std::string CropRectangle(const Photo& photo, const std::string& digest);
// The base64 MD5 of `size` bytes as the crop carries it; "" if OpenSSL cannot make it.
std::string CropDigest(const char* bytes, size_t size);
// The length of the digest CropDigest makes (when OpenSSL can make one).
constexpr size_t kCropDigestChars = 24;

}  // namespace host

#endif  // VELDRAKE_HOST_PHOTOS_H_
