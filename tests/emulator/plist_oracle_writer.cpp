// Writes random property-list trees as binary plists, each with a JSON description of
// the values it should decode to, for an independent reader to check (plist_oracle.py).
// Usage: plist_oracle_writer OUTDIR COUNT SEED
#include <nlohmann/json.hpp>

#include <clocale>
#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <random>
#include <string>
#include <utility>

#include "devicesim/BPListWriter.h"

namespace {

using devicesim::Value;
using nlohmann::json;

const char* const kTexts[] = {
    "",         "a",   "hello world", "SDMessageProcessChanges", "Zoë",   "日本語",
    "emoji 😀🎉", "𝔘𝔫𝔦", "mixed é😀x",   "0123456789abcdefghij",    "Ωμέγα", "\xc3\xa9"};

class Gen {
 public:
  explicit Gen(uint32_t seed) : rng_(seed) {}

  // A value and its description: {"t": type, "v": value}.
  devicesim::Value make(int depth, json& d) {
    switch (pick(depth > 3 ? 9 : 11)) {
      case 0:
      case 1:
        d = {{"t", "bool"}, {"v", pick(2) == 0}};
        return Value::Bool(d["v"].get<bool>());
      case 2: {
        static const long long kEdges[] = {0,     1,     255,          256,
                                           65535, 65536, 4294967295LL, 4294967296LL,
                                           -1,    -256,  INT64_MIN,    INT64_MAX};
        long long v = pick(2) ? kEdges[pick(12)] : static_cast<long long>(rng_()) - (1LL << 31);
        d = {{"t", "int"}, {"v", v}};
        return Value::Integer(v);
      }
      case 3: {
        double v = (static_cast<double>(rng_()) - 2e9) / 7.0;
        d = {{"t", "real"}, {"v", v}};
        return Value::Real(v);
      }
      case 4: {
        long long v = static_cast<int64_t>(rng_() % 2000000000) - 400000000;
        d = {{"t", "date"}, {"v", v}};
        return Value::Date(static_cast<double>(v));
      }
      case 5: {
        std::string bytes;
        std::string hex;
        for (size_t i = pick(40); i > 0; --i) {
          bytes.push_back(static_cast<char>(rng_()));
          hex += "0123456789abcdef"[(bytes.back() >> 4) & 15];
          hex += "0123456789abcdef"[bytes.back() & 15];
        }
        d = {{"t", "data"}, {"v", hex}};
        return Value::Data(bytes);
      }
      case 6:
      case 7: {
        std::string text = kTexts[pick(12)];
        if (pick(4) == 0) text = std::string(20 + pick(300), 'x') + text;
        d = {{"t", "str"}, {"v", text}};
        return Value::Text(text);
      }
      case 8: {
        unsigned long long v = pick(2) ? pick(300) : rng_() * 0x10001ULL;
        d = {{"t", "uid"}, {"v", v}};
        return Value::Uid(v);
      }
      case 9: {
        devicesim::ValueArray array;
        d = {{"t", "array"}, {"v", json::array()}};
        size_t n = depth == 0 && pick(3) == 0 ? 300 + pick(200) : pick(depth == 0 ? 20 : 6);
        for (size_t i = 0; i < n; ++i) array.push_back(make(depth + 1, d["v"].emplace_back()));
        return Value::Array(std::move(array));
      }
      default: {
        devicesim::ValueDict dict;
        d = {{"t", "dict"}, {"v", json::object()}};
        for (size_t i = pick(8); i > 0; --i) {  // a key may come twice: the last one wins
          std::string key = std::string(kTexts[pick(12)]) + std::to_string(pick(50));
          dict[devicesim::Utf8ToUnits(key)] = make(depth + 1, d["v"][key]);
        }
        return Value::Dict(std::move(dict));
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
  Gen gen(static_cast<uint32_t>(std::atoi(argv[3])));
  for (int i = 0, count = std::atoi(argv[2]); i < count; ++i) {
    json d;
    Value root = gen.make(0, d);
    std::ofstream(dir + "/" + std::to_string(i) + ".bplist", std::ios::binary)
        << devicesim::WriteBinaryPlist(root);
    std::ofstream(dir + "/" + std::to_string(i) + ".json", std::ios::binary) << d.dump();
  }
  return 0;
}
