// Writes the seed corpus of the conversation fuzzer (fuzz/conversation): the device's side
// of complete contact and note exports recorded from the emulator, and the same sessions
// with one batch replaced by a hostile property list. Usage: make_conversation_seeds DIR
#include <cstdint>
#include <cstdio>
#include <fstream>
#include <string>
#include <vector>

#include "ExportRecorder.h"
#include "devicesim/AddressBook.h"
#include "devicesim/NoteStore.h"

namespace {

int Ignore(void*) {
  return 0;
}

std::string BE(uint64_t v, unsigned width) {
  std::string out;
  for (unsigned i = width; i-- > 0;) out += static_cast<char>(i >= 8 ? 0 : (v >> (8 * i)) & 0xFF);
  return out;
}

// "bplist00", the objects, an offset table and a trailer naming object `top`.
std::string List(const std::vector<std::string>& objects, unsigned refSize = 1, uint64_t top = 0,
                 uint64_t extraObjects = 0) {
  std::string out = "bplist00";
  std::vector<uint64_t> offsets;
  for (const std::string& o : objects) {
    offsets.push_back(out.size());
    out += o;
  }
  const uint64_t table = out.size();
  const unsigned offsetSize = table > 0xFFFF ? 4 : table > 0xFF ? 2 : 1;
  for (uint64_t off : offsets) out += BE(off, offsetSize);
  return out + std::string(6, '\0') + static_cast<char>(offsetSize) + static_cast<char>(refSize) +
         BE(objects.size() + extraObjects, 8) + BE(top, 8) + BE(table, 8);
}

std::string Ascii(const std::string& s) {
  return s.size() < 15 ? static_cast<char>(0x50 | s.size()) + s
                       : "\x5F\x10" + std::string(1, static_cast<char>(s.size())) + s;
}

// The hostile classes, each as a whole reply.
std::vector<std::pair<std::string, std::string>> HostileLists() {
  std::vector<std::pair<std::string, std::string>> lists;
  // ["SDMessageProcessChanges", {"1": {"first name": "A"}}] as the well-formed base.
  const std::string msg = Ascii("SDMessageProcessChanges");
  const std::string base = List({"\xA2\x01\x02", msg, "\xD1\x03\x04", Ascii("1"), "\xD1\x05\x06",
                                 Ascii("first name"), Ascii("A")});
  lists.push_back({"well_formed", base});
  std::string offsetOut = base;
  offsetOut[offsetOut.size() - 32 - 7] = '\xF0';  // an offset table entry past the end
  lists.push_back({"offset_out_of_range", offsetOut});
  lists.push_back(
      {"reference_out_of_range", List({"\xA2\x01\x09", msg, "\xD1\x03\x04", Ascii("1"),
                                       "\xD1\x05\x06", Ascii("first name"), Ascii("A")})});
  lists.push_back({"top_object_out_of_range", List({"\xA1\x01", msg}, 1, 77)});
  lists.push_back({"objects_beyond_table", List({"\xA1\x01", msg}, 1, 0, 1000000)});
  lists.push_back({"count_beyond_data", List({"\xAF\x10\xF0\x01\x01", msg})});
  lists.push_back({"string_beyond_data", List({"\xA1\x01",
                                               "\x5F\x11\xFF\xFF"
                                               "abc"})});
  lists.push_back(
      {"wide_integer_count", List({"\xAF\x13\x7F\xFF\xFF\xFF\xFF\xFF\xFF\xFF\x01", msg})});
  lists.push_back({"sixteen_byte_integer_count",
                   List({"\xAF\x14" + std::string(15, '\xFF') + "\x7F\x01", msg})});
  lists.push_back({"reference_cycle", List({"\xA2\x01\x02", msg, "\xD1\x03\x00", Ascii("1")})});
  lists.push_back({"dictionary_cycle", List({"\xA2\x01\x02", msg, "\xD1\x03\x02", Ascii("1")})});
  std::vector<std::string> deep;
  for (int i = 0; i < 3000; ++i) deep.push_back("\xA1" + BE(static_cast<uint64_t>(i + 1), 2));
  deep.push_back(msg);
  lists.push_back({"deep_nesting", List(deep, 2)});
  std::vector<std::string> shared;
  for (int i = 0; i < 48; ++i) shared.push_back("\xA2" + std::string(2, static_cast<char>(i + 1)));
  shared.push_back(msg);
  lists.push_back({"exponential_sharing", List(shared)});
  lists.push_back(
      {"non_string_keys", List({"\xA2\x01\x02", msg, "\xD3\x03\x04\x05\x06\x06\x06", "\x10\x07",
                                "\xA0", "\xD0", "\xD1\x07\x08", Ascii("first name"), Ascii("A")})});
  lists.push_back({"null_objects", List({"\xA3\x01\x02\x03", msg, std::string(1, '\0'),
                                         "\xD2\x04\x05\x02\x02", Ascii("1"), Ascii("2/1/0")})});
  lists.push_back({"root_not_array", List({"\xD1\x01\x02", Ascii("1"), "\xD1\x01\x01"})});
  lists.push_back({"zero_sizes_in_trailer", "bplist00\xA0" + std::string(6, '\0') +
                                                std::string(2, '\0') + BE(1, 8) + BE(0, 8) +
                                                BE(8, 8)});
  lists.push_back({"truncated_header", "bplist0"});
  return lists;
}

struct Seed {
  std::string name;
  uint8_t header;
  std::vector<std::string> payloads;
};

std::string Encode(const Seed& s) {
  std::string out(1, static_cast<char>(s.header));
  for (const std::string& p : s.payloads) {
    if (p.empty()) {
      out += '\x02';
    } else if (p.size() <= 0xFFFF) {
      out += '\x00' + BE(p.size(), 2) + p;
    } else {
      std::fprintf(stderr, "%s: a payload of %zu bytes does not fit a chunk\n", s.name.c_str(),
                   p.size());
    }
  }
  return out;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) {
    std::fprintf(stderr, "usage: %s DIR\n", argv[0]);
    return 2;
  }
  const std::string dir = argv[1];
  devicesim::DeviceOptions options;
  options.batchSize = 2;
  const devicesim::AddressBook book = devicesim::GenerateAddressBook(3, 1);
  const devicesim::NoteStore notes = devicesim::GenerateNotes(4, 1);
  void* callback = reinterpret_cast<void*>(&Ignore);
  const auto contacts = hardening::RecordExport(true, book, {}, options, callback);
  const auto noteSide = hardening::RecordExport(false, {}, notes, options, callback);

  std::vector<Seed> seeds = {
      {"contacts_session", 0x01, contacts.payloads},
      {"contacts_session_getdata", 0x03, contacts.payloads},
      {"contacts_session_host_stops", 0x01 | (2 << 2), contacts.payloads},
      {"notes_session", 0x00, noteSide.payloads},
      {"notes_session_getdata", 0x02, noteSide.payloads},
      {"notes_session_host_stops", 0x00 | (1 << 2), noteSide.payloads},
      {"contacts_session_utf8_locale", 0x81, contacts.payloads},
      {"notes_session_utf8_locale", 0x80, noteSide.payloads},
  };
  // Each hostile list stands in for the first batch; the sessions go on normally after it.
  for (const auto& [name, list] : HostileLists()) {
    std::vector<std::string> c = contacts.payloads;
    c.at(2) = list;
    seeds.push_back({"contacts_" + name, 0x01, c});
    std::vector<std::string> n = noteSide.payloads;
    n.at(3) = list;
    seeds.push_back({"notes_" + name, 0x00, n});
  }
  for (const Seed& s : seeds) {
    std::ofstream out(dir + "/" + s.name, std::ios::binary);
    out << Encode(s);
    if (!out) {
      std::fprintf(stderr, "cannot write %s/%s\n", dir.c_str(), s.name.c_str());
      return 1;
    }
  }
  std::printf(
      "%zu seeds; contact side %zu bytes in %zu frames, note side %zu bytes in %zu frames\n",
      seeds.size(), contacts.deviceSide.size(), contacts.payloads.size(),
      noteSide.deviceSide.size(), noteSide.payloads.size());
  return 0;
}
