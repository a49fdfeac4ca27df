// The note record handed to the host's callback.
#include "QX/Notes.h"

namespace QX {

Notes::Notes()
    : reservedFlag(0),
      subject(nullptr),
      dateModified(-1),
      content(nullptr),
      reservedText(nullptr) {}

Notes::~Notes() {
  if (subject != nullptr) {
    delete[] subject;
    subject = nullptr;
  }
  if (reservedText != nullptr) {
    delete[] reservedText;
    reservedText = nullptr;
  }
  if (content != nullptr) {
    delete[] content;
    content = nullptr;
  }
}

}  // namespace QX
