// Parsing: one logical line into a property with its group, name, parameters and value.
// Property names, parameter names and group names are matched without regard to case.
#ifndef DEVICESIM_SRC_VCARDPROPERTY_H_
#define DEVICESIM_SRC_VCARDPROPERTY_H_

#include <string>
#include <vector>

#include "VCardUnfold.h"

namespace devicesim {

struct Param {
  std::string name;  // upper case; empty for a bare 2.1 value such as "CELL"
  std::string value;
};

const int kNotPreferred = 1 << 30;

struct CardProperty {
  int line = 0;
  std::string group;  // lower case
  std::string name;   // upper case
  std::vector<Param> params;
  std::string value;    // decoded to UTF-8, escapes still in place
  std::string encoded;  // a base64 value (ENCODING=b or BASE64), as written

  // A parameter's value by name, empty when absent.
  std::string param(const char* key) const;
  // A parameter by name, or a bare 2.1 parameter of that text ("SOUND;X-IRMC-N:").
  bool hasParam(const char* key) const;
  // TYPE values (comma lists and repeated parameters) and 2.1's bare types, lower case.
  std::vector<std::string> types() const;
  // The same as the card writes them, but of 2.1's bare parameters only the X- ones: the
  // others are as often charsets or languages as types.
  std::vector<std::string> typesAsWritten() const;
  // How strongly the card prefers this value among its kind: PREF=n gives n, a bare PREF
  // or TYPE=pref 1, none kNotPreferred.
  int preference() const;
  bool is(const char* type) const;
  std::string text() const;  // the value with its escapes resolved
};

// `logical` must start a property (PropertyColon finds its colon). Quoted-printable
// values are decoded and converted from their charset; base64 values are left empty,
// since binary data is of no use to the device's records, and kept in `encoded` for the
// one kind the book keeps beside them, photos.
CardProperty ParseProperty(const LogicalLine& logical);

}  // namespace devicesim

#endif  // DEVICESIM_SRC_VCARDPROPERTY_H_
