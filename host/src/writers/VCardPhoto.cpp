// A card's picture: its line made here, or its costly part on a second thread with the
// card and those after it held back until the line is whole.
#include "Photos.h"
#include "VCardWriter.h"

namespace host {

VCardWriter::VCardWriter(std::ostream& out, Version version, bool overlap)
    : out_(out), version_(version), task_(overlap ? new BackgroundTask : nullptr) {}

VCardWriter::~VCardWriter() {
  // What is held back is dropped: without Finish the document is not whole anyway.
  if (!held_) return;
  try {
    task_->Wait();
  } catch (...) {
    // the job's failure has no one left to tell
  }
}

void VCardWriter::StartPhotoLine(const Photo& photo, const std::string& digest,
                                 std::string* out) const {
  Line line{"", "PHOTO", {}, ""};
  if (version_ == kVCard3) line.params = {{"ENCODING", {"b"}}, {"TYPE", {PhotoTypeName(photo)}}};
  const std::string crop = CropRectangle(photo, digest);
  if (!crop.empty()) line.params.push_back({"X-ABCROP-RECTANGLE", {crop}});
  StartLine(line, out);
  if (version_ == kVCard4) ((*out += "data:") += photo.mimeType) += ";base64,";
}

// The picture's base64 goes straight into the line, and the line straight into the card,
// each a buffer kept from one photo to the next: the line is hundreds of kilobytes.
void VCardWriter::WritePhoto(const Photo& photo) {
  if (task_) return HoldBackPhoto(photo);
  StartPhotoLine(photo, photo.hasCrop ? CropDigest(photo.data.data(), photo.data.size()) : "",
                 &line_);
  AppendBase64(photo.data.data(), photo.data.size(), &line_);
  FoldInto(line_, &card_);
}

void VCardWriter::HoldBackPhoto(const Photo& photo) {
  WriteHeldBack();
  before_.assign(card_);  // not a swap: card_ is to keep a card's capacity, not a photo's
  card_.clear();
  photo_.assign(photo.data);
  held_ = true;
  // A stand-in of a digest's length until the digest comes.
  StartPhotoLine(photo, photo.hasCrop ? std::string(kCropDigestChars, 'A') : "", &photoLine_);
  // Room for what is made of the picture, made here: the second thread then allocates
  // nothing of size (and the heap it uses is this thread's to count).
  const size_t line = photoLine_.size() + (photo_.size() + 2) / 3 * 4 + 1;
  photoLine_.reserve(line);
  folded_.clear();
  folded_.reserve(FoldedRoom(line));
  digestAt_ = std::string::npos;
  if (!photo.hasCrop) {
    task_->Start([this] {
      AppendBase64(photo_.data(), photo_.size(), &photoLine_);
      FoldInto(photoLine_, &folded_);
    });
    return;
  }
  // The crop is the line's last parameter, and ends at its first colon: no parameter of
  // a picture's line holds one.
  digestAt_ = photoLine_.find(':') - kCropDigestChars;
  task_->Start([this] { digest_ = CropDigest(photo_.data(), photo_.size()); });
  AppendBase64(photo_.data(), photo_.size(), &photoLine_);
}

void VCardWriter::EndCard() {
  if (!held_) {
    out_.write(card_.data(), static_cast<std::streamsize>(card_.size()));
    return;
  }
  after_ += card_;
  if (after_.size() > kHeldBack) WriteHeldBack();
}

void VCardWriter::WriteHeldBack() {
  if (!held_) return;
  held_ = false;
  task_->Wait();
  if (digestAt_ != std::string::npos) {
    photoLine_.replace(digestAt_, kCropDigestChars, digest_);
    FoldInto(photoLine_, &folded_);
  }
  for (const std::string* part : {&before_, &folded_, &after_})
    out_.write(part->data(), static_cast<std::streamsize>(part->size()));
  before_.clear();
  after_.clear();
}

void VCardWriter::Finish() {
  WriteHeldBack();
}

}  // namespace host
