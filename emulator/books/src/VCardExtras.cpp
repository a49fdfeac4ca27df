// Photos, groups and the account of a card.
#include "VCardExtras.h"

#include <algorithm>
#include <cstdlib>

#include "VCardText.h"

namespace devicesim {
namespace {

constexpr const char* kAccountKinds[] = {"local", "icloud", "exchange", "google", "carddav"};
constexpr const char kCropPrefix[] = "ABClipRect_1&";
constexpr const char kCropParameter[] = "X-ABCROP-RECTANGLE";

int Sextet(char c) {
  if (c >= 'A' && c <= 'Z') return c - 'A';
  if (c >= 'a' && c <= 'z') return c - 'a' + 26;
  if (c >= '0' && c <= '9') return c - '0' + 52;
  if (c == '+') return 62;
  if (c == '/') return 63;
  return -1;
}

// The bytes of a 4.0 "data:image/...;base64,..." value; false when it is another URI.
bool DataUri(const std::string& value, std::string* base64) {
  if (Lower(value.substr(0, 5)) != "data:") return false;
  const size_t comma = value.find(',');
  if (comma == std::string::npos) return false;
  std::string head = Lower(value.substr(0, comma));
  if (!head.empty() && head.back() == '\\') head.pop_back();  // a comma escaped as text
  if (head.size() < 7 || head.compare(head.size() - 7, 7, ";base64") != 0) return false;
  *base64 = value.substr(comma + 1);
  return true;
}

// "ABClipRect_1&X&Y&WIDTH&HEIGHT&..." as the phone writes it; the crop is square.
void ReadCrop(const std::string& value, Person* person) {
  if (value.compare(0, sizeof kCropPrefix - 1, kCropPrefix) != 0) return;
  const std::vector<std::string> parts = SplitEscaped(value.substr(sizeof kCropPrefix - 1), '&');
  if (parts.size() < 3) return;
  char* end = nullptr;
  int numbers[3];
  for (int i = 0; i < 3; ++i) {
    numbers[i] = static_cast<int>(std::strtol(parts[static_cast<size_t>(i)].c_str(), &end, 10));
    if (*end != '\0') return;
  }
  person->hasCrop = true;
  person->cropX = numbers[0];
  person->cropY = numbers[1];
  person->cropWidth = numbers[2];
}

void AddGroups(const CardProperty& p, Person* person) {
  for (const std::string& piece : SplitEscaped(p.value, ',')) {
    const std::string name = Trim(Unescape(piece));
    if (!name.empty() &&
        std::find(person->groups.begin(), person->groups.end(), name) == person->groups.end())
      person->groups.push_back(name);
  }
}

bool TakeAccount(const CardProperty& p, Person* person, std::string* error) {
  const std::string kind = Lower(p.param("TYPE"));
  const auto known = std::find(std::begin(kAccountKinds), std::end(kAccountKinds), kind);
  if (known == std::end(kAccountKinds)) {
    *error = "X-VELDRAKE-ACCOUNT needs TYPE=local, icloud, exchange, google or carddav";
    return false;
  }
  person->account.kind = kind;
  person->account.name = Trim(p.text());
  return true;
}

// A photo that is no valid base64 (found in the wild, cut short) is passed over, as a
// phone importing the card passes it over: the person still comes. Phones (and our own
// export) write the crop as a parameter of the PHOTO line; older cards give it a line of
// its own, read below.
void TakePhoto(const CardProperty& p, Person* person) {
  std::string base64 = p.encoded;
  if (base64.empty() && !DataUri(Trim(p.value), &base64)) return;  // a link
  if (!DecodeBase64(base64, &person->photo)) person->photo.clear();
  if (!person->photo.empty()) ReadCrop(p.param(kCropParameter), person);
}

}  // namespace

bool DecodeBase64(const std::string& text, std::string* out) {
  out->clear();
  unsigned int bits = 0;
  int count = 0;
  size_t padding = 0;
  for (const char c : text) {
    if (c == ' ' || c == '\t' || c == '\r' || c == '\n') continue;
    if (c == '=') {
      ++padding;
      continue;
    }
    const int sextet = Sextet(c);
    if (sextet < 0 || padding > 0) return false;
    bits = (bits << 6 | static_cast<unsigned int>(sextet)) & 0xFFFFFF;
    if (++count % 4 == 0) {
      out->push_back(static_cast<char>(bits >> 16));
      out->push_back(static_cast<char>(bits >> 8 & 0xFF));
      out->push_back(static_cast<char>(bits & 0xFF));
    }
  }
  const int tail = count % 4;
  if (tail == 1 || padding > 2) return false;
  if (tail >= 2) out->push_back(static_cast<char>(bits >> (tail == 2 ? 4 : 10) & 0xFF));
  if (tail == 3) out->push_back(static_cast<char>(bits >> 2 & 0xFF));
  return true;
}

bool ReadCardExtras(const std::vector<CardProperty>& props, Person* person, int* line,
                    std::string* error) {
  for (const CardProperty& p : props) {
    *line = p.line;
    if (p.name == "PHOTO" && person->photo.empty()) TakePhoto(p, person);
    if (p.name == "X-VELDRAKE-ACCOUNT" && !TakeAccount(p, person, error)) return false;
    if (p.name == kCropParameter) ReadCrop(Trim(p.text()), person);
    if (p.name == "CATEGORIES") AddGroups(p, person);
  }
  return true;
}

}  // namespace devicesim
