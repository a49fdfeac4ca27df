// PhoneCommands: the subcommands that look after real phones rather than export them.
//   devices      lists the attached phones: UDID, name, model, OS version, USB or network,
//                whether it trusts this computer, whether contact sync with a computer is on
//   pair         asks a phone to trust this computer
//   enable-sync  turns contact sync with a computer on (a setting on the person's phone)
// Each prints one line on standard error saying what happened or what to do, and returns
// the exit status (Phones.h).
//
// Thread contract: one thread.
#ifndef VELDRAKE_HOST_PHONECOMMANDS_H_
#define VELDRAKE_HOST_PHONECOMMANDS_H_

#include <CLI/CLI.hpp>
#include <string>

namespace host {

class PhoneCommands {
 public:
  // Adds the subcommands to `app`.
  explicit PhoneCommands(CLI::App& app);

  // Whether the parsed command line chose one of them.
  bool parsed() const;
  int Run() const;

 private:
  int Devices() const;
  int Pair() const;
  int EnableSync() const;

  CLI::App* devices_;
  CLI::App* pair_;
  CLI::App* enableSync_;
  std::string device_;
};

}  // namespace host

#endif  // VELDRAKE_HOST_PHONECOMMANDS_H_
