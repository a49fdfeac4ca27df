// Making, measuring and releasing string objects.
#include <memory>
#include <mutex>
#include <unordered_map>

// utfcpp rather than a hand-written decoder: it rejects overlong forms, encoded
// surrogates and code points past U+10FFFF, which is exactly the "valid UTF-8" test
// callers rely on to tell good text from bad.
#include <utf8cpp/utf8.h>

#include "CFStringObject.h"

namespace {

// Decodes valid UTF-8 into `out`; false (and `out` untouched) for anything else.
bool DecodeUtf8(const char* text, std::u16string& out) {
  const char* end = text + std::char_traits<char>::length(text);
  if (!utf8::is_valid(text, end)) return false;
  std::u16string units;
  utf8::unchecked::utf8to16(text, end, std::back_inserter(units));
  out.swap(units);
  return true;
}

}  // namespace

VELDRAKE_CF_EXPORT CFStringRef __CFStringMakeConstantString(const char* text) {
  if (text == nullptr) return nullptr;
  // Interned by text and never freed: callers keep these for the life of the process.
  // The table is reached through a pointer that is never destroyed, so the objects stay
  // reachable at exit and constant strings stay usable from other static destructors.
  static std::mutex* lock = new std::mutex;
  static auto* table = new std::unordered_map<std::string, std::unique_ptr<__CFString>>;
  std::lock_guard<std::mutex> hold(*lock);
  std::unique_ptr<__CFString>& slot = (*table)[text];
  if (!slot) {
    std::unique_ptr<__CFString> made(new __CFString);
    made->constant = true;
    if (!DecodeUtf8(text, made->units)) {
      // Constant texts are ours and plain ASCII; should one ever be malformed, keep what
      // can be read rather than fail the caller.
      std::string repaired;
      utf8::replace_invalid(text, text + std::char_traits<char>::length(text),
                            std::back_inserter(repaired));
      DecodeUtf8(repaired.c_str(), made->units);
    }
    slot = std::move(made);
  }
  return slot.get();
}

VELDRAKE_CF_EXPORT CFStringRef CFStringCreateWithCString(CFAllocatorRef, const char* text,
                                                         CFStringEncoding encoding) {
  if (text == nullptr || encoding != kCFStringEncodingUTF8) return nullptr;
  std::unique_ptr<__CFString> made(new __CFString);
  if (!DecodeUtf8(text, made->units)) return nullptr;
  return made.release();
}

VELDRAKE_CF_EXPORT CFStringRef CFStringCreateWithCharacters(CFAllocatorRef, const UniChar* units,
                                                            CFIndex count) {
  if (count < 0 || (units == nullptr && count > 0)) return nullptr;
  std::unique_ptr<__CFString> made(new __CFString);
  made->units.assign(reinterpret_cast<const char16_t*>(units), static_cast<size_t>(count));
  return made.release();
}

VELDRAKE_CF_EXPORT CFIndex CFStringGetLength(CFStringRef string) {
  return string == nullptr ? 0 : static_cast<CFIndex>(string->units.size());
}

VELDRAKE_CF_EXPORT void CFRelease(CFTypeRef object) {
  // Only string objects exist in the stand-in. A null object is ignored rather than
  // crashing, so a caller's cleanup path stays safe.
  const __CFString* string = static_cast<const __CFString*>(object);
  if (string == nullptr || string->constant) return;
  delete string;
}
