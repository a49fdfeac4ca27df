// Writes random property-list trees as binary plists, each with a JSON description of
// the values it should decode to, for an independent reader to check (plist_oracle.py).
// Usage: plist_oracle_writer OUTDIR COUNT SEED
#include <clocale>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <map>
#include <random>
#include <string>

#include "devicesim/BPListWriter.h"

using devicesim::MakeString;

namespace {

std::string JsonString(const std::string& utf8) {
  std::string out = "\"";
  for (unsigned char c : utf8) {
    if (c == '"' || c == '\\') {
      out += '\\';
      out += static_cast<char>(c);
    } else if (c < 0x20) {
      char buf[8];
      std::snprintf(buf, sizeof buf, "\\u%04x", c);
      out += buf;
    } else {
      out += static_cast<char>(c);
    }
  }
  return out + "\"";
}

const char* const kTexts[] = {
    "",         "a",   "hello world", "SDMessageProcessChanges", "Zoë",   "日本語",
    "emoji 😀🎉", "𝔘𝔫𝔦", "mixed é😀x",   "0123456789abcdefghij",    "Ωμέγα", "\xc3\xa9"};

class Gen {
 public:
  explicit Gen(uint32_t seed) : rng_(seed) {}

  // A value and its description: {"t": type, "v": value}.
  prop make(int depth, std::string& json) {
    int kind = pick(depth > 3 ? 9 : 11);
    switch (kind) {
      case 0:
        json = "{\"t\":\"bool\",\"v\":true}";
        return prop::True;
      case 1:
        json = "{\"t\":\"bool\",\"v\":false}";
        return prop::False;
      case 2: {
        static const long long kEdges[] = {0,     1,     255,          256,
                                           65535, 65536, 4294967295LL, 4294967296LL,
                                           -1,    -256,  INT64_MIN,    INT64_MAX};
        long long v = pick(2) ? kEdges[pick(12)] : static_cast<long long>(rng_()) - (1LL << 31);
        json = "{\"t\":\"int\",\"v\":" + std::to_string(v) + "}";
        return prop(v);
      }
      case 3: {
        double v = (static_cast<double>(rng_()) - 2e9) / 7.0;
        char buf[64];
        std::snprintf(buf, sizeof buf, "%.17g", v);
        json = std::string("{\"t\":\"real\",\"v\":") + buf + "}";
        return prop(v);
      }
      case 4: {
        double v = static_cast<double>(static_cast<int64_t>(rng_() % 2000000000) - 400000000);
        json = "{\"t\":\"date\",\"v\":" + std::to_string(static_cast<long long>(v)) + "}";
        return prop::createDate(v);
      }
      case 5: {
        prop p;
        std::string& bytes = p.initData();
        size_t n = pick(40);
        std::string hex;
        for (size_t i = 0; i < n; ++i) {
          unsigned char b = static_cast<unsigned char>(rng_());
          bytes.push_back(static_cast<char>(b));
          char buf[3];
          std::snprintf(buf, sizeof buf, "%02x", b);
          hex += buf;
        }
        json = "{\"t\":\"data\",\"v\":\"" + hex + "\"}";
        return p;
      }
      case 6:
      case 7: {
        std::string text = kTexts[pick(12)];
        if (pick(4) == 0) text = std::string(20 + pick(300), 'x') + text;
        json = "{\"t\":\"str\",\"v\":" + JsonString(text) + "}";
        return MakeString(text);
      }
      case 8: {
        prop p;
        unsigned long long v = pick(2) ? pick(300) : rng_() * 0x10001ULL;
        p.initUID(v);
        json = "{\"t\":\"uid\",\"v\":" + std::to_string(v) + "}";
        return p;
      }
      case 9: {
        prop p;
        auto& array = p.initArray();
        json = "{\"t\":\"array\",\"v\":[";
        size_t n = depth == 0 && pick(3) == 0 ? 300 + pick(200) : pick(depth == 0 ? 20 : 6);
        for (size_t i = 0; i < n; ++i) {
          std::string child;
          array.push_back(make(depth + 1, child));
          json += (i ? "," : "") + child;
        }
        json += "]}";
        return p;
      }
      default: {
        prop p;
        auto& dict = p.initDict();
        std::map<std::string, std::string> children;  // a key may come twice: last one wins
        size_t n = pick(8);
        for (size_t i = 0; i < n; ++i) {
          std::string key = std::string(kTexts[pick(12)]) + std::to_string(pick(50));
          std::string child;
          dict[devicesim::Utf8ToUnits(key)] = make(depth + 1, child);
          children[key] = child;
        }
        json = "{\"t\":\"dict\",\"v\":{";
        bool first = true;
        for (const auto& entry : dict) {
          std::string key = prop::toUtf8(entry.first);
          json += (first ? "" : ",") + JsonString(key) + ":" + children[key];
          first = false;
        }
        json += "}}";
        return p;
      }
    }
  }

 private:
  size_t pick(size_t n) { return static_cast<size_t>(rng_() % n); }
  std::mt19937 rng_;
};

}  // namespace

int main(int argc, char** argv) {
  if (argc != 4) return 2;
  std::setlocale(LC_ALL, "C.UTF-8");
  const std::string dir = argv[1];
  const int count = std::atoi(argv[2]);
  Gen gen(static_cast<uint32_t>(std::atoi(argv[3])));
  for (int i = 0; i < count; ++i) {
    std::string json;
    prop root = gen.make(0, json);
    std::ofstream(dir + "/" + std::to_string(i) + ".bplist", std::ios::binary)
        << devicesim::WriteBinaryPlist(root);
    std::ofstream(dir + "/" + std::to_string(i) + ".json", std::ios::binary) << json;
  }
  return 0;
}
