// Unfolding: physical lines (LF, CRLF or CR CR LF) into logical ones, one per property.
#ifndef DEVICESIM_SRC_VCARDUNFOLD_H_
#define DEVICESIM_SRC_VCARDUNFOLD_H_

#include <string>
#include <vector>

namespace devicesim {

struct LogicalLine {
  int line;  // the number of its first physical line, from 1
  std::string text;
};

// The position of the colon that ends "[group.]NAME[;params]", or npos when the line does
// not start a property.
size_t PropertyColon(const std::string& line);

// Joins folded lines, quoted-printable soft breaks and 2.1 values that run on over raw
// line breaks; blank lines are dropped. Fails on text that cannot belong to a property,
// with *error as "NAME:LINE: what is wrong".
bool Unfold(const std::string& data, const std::string& name, std::vector<LogicalLine>* out,
            std::string* error);

}  // namespace devicesim

#endif  // DEVICESIM_SRC_VCARDUNFOLD_H_
