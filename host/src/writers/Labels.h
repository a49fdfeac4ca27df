// The device's label texts and what the export formats make of them.
//
// The device stores a standard label as a wrapped name ("_$!<Mobile>!$_") and a custom
// label as the text the user typed. vCard carries the standard labels it knows as TYPE
// parameters and everything else as an item group's X-ABLabel; CSV and JSON show the bare
// name. Thread contract: pure functions.
#ifndef VELDRAKE_HOST_LABELS_H_
#define VELDRAKE_HOST_LABELS_H_

#include <string>
#include <vector>

namespace host {

// True for a wrapped standard label such as "_$!<Home>!$_".
bool IsStandardLabel(const std::string& label);

// "_$!<Home>!$_" -> "Home"; a custom label is returned unchanged.
std::string DisplayLabel(const std::string& label);

// The vCard 3.0 TYPE values (upper case) that stand for `label` on an item of `kind`
// (phone, e-mail, URL, or -1 for a postal address), or an empty list when the label
// has no TYPE form and goes into an X-ABLabel instead.
std::vector<std::string> VCardTypes(int kind, const std::string& label);

// The kind used for a postal address in VCardTypes.
constexpr int kAddressKind = -1;

}  // namespace host

#endif  // VELDRAKE_HOST_LABELS_H_
