#include "CommandLine.h"

#include <CLI/CLI.hpp>
#include <vector>

#include "Exporter.h"
#include "Phones.h"

namespace host {
namespace {

const char kExitTable[] =
    "Exit status:\n"
    "  0    exported\n"
    "  1    the output could not be written\n"
    "  2    bad command line\n"
    "  3    libVeldrakeForMac or the built-in device's samples not found\n"
    "  4    the sync conversation failed (GetData -1)\n"
    "  5    no device handle, e.g. a malformed --device (GetData -5)\n"
    "  6    the device's sync service did not start, e.g. unreachable (GetData -6)\n"
    "  7    the device connection failed with a platform code (other GetData results)\n";
const char kExitInterruptedRow[] = "  130  interrupted\n";

void AddCommonOptions(CLI::App* command, Options* options, const std::vector<std::string>& formats,
                      const char* what) {
  command->add_option("--device", options->device,
                      "the device: usb (the one attached phone), usb:UDID, or unix:PATH or "
                      "tcp:HOST:PORT of an emulator or bridge (default: the one trusted phone "
                      "attached, else the built-in device)");
  command->add_option("-f,--format", options->format, what)->check(CLI::IsMember(formats));
  command->add_option("--limit", options->limit, "stop after N records")
      ->check(CLI::PositiveNumber);
  command->add_flag("-q,--quiet", options->quiet, "no summary line");
}

}  // namespace

bool ParseCommandLine(int argc, char** argv, Options* options, int* status) {
  CLI::App app{
      "Exports the contacts and notes of a device through libVeldrakeForMac.\n"
      "Without --device it exports the one attached phone that trusts this computer, else a\n"
      "built-in emulated device with the sample data."};
  app.footer(std::string(kExitTable) + kPhoneExitTable + kExitInterruptedRow);
  app.require_subcommand(1);
  CLI::App* contacts = app.add_subcommand("contacts", "export the address book");
  AddCommonOptions(contacts, options, {"vcf", "vcf4", "csv", "json"},
                   "vcf (vCard 3.0, the default), vcf4 (vCard 4.0), csv or json");
  contacts->add_option("-o,--output", options->output, "write to FILE instead of standard output");
  CLI::App* notes = app.add_subcommand("notes", "export the notes");
  AddCommonOptions(notes, options, {"json", "md", "txt"},
                   "json (the default), md (Markdown) or txt");
  notes->add_option("-o,--output", options->output,
                    "write to FILE, or with md/txt to one file per note in the folder DIR");
  AddPhoneCommands(app, &options->phone);
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& e) {
    *status = app.exit(e) == 0 ? kExitOk : kExitUsage;
    return false;
  }
  options->kind = notes->parsed() ? kVeldrakeNotes : kVeldrakeContacts;
  if (options->format.empty())
    options->format = options->kind == kVeldrakeContacts ? "vcf" : "json";
  return true;
}

}  // namespace host
