// Parses veldrake's command line into Options, with one message for each mistake.
#include "CommandLine.h"

#include <sys/stat.h>

#include <CLI/CLI.hpp>
#include <cstdio>
#include <vector>

#include "ExitCodes.h"
#include "Messages.h"
#include "Phones.h"

namespace host {

const char kSampleDevice[] = "sample";

namespace {

const char kDescription[] =
    "Exports the contacts and notes of a device through libVeldrakeForMac.\n"
    "Without --device it exports the one attached phone that trusts this computer;\n"
    "--device sample exports the built-in sample device.";
const char kDeviceHelp[] =
    "the device: usb (the one attached phone), usb:UDID, unix:PATH or tcp:HOST:PORT of an "
    "emulator or bridge, or sample (the built-in device)";

std::string CheckDevice(const std::string& value) {
  if (value == kSampleDevice || !IsPhoneEndpoint(value)) return "";
  return MalformedUdidMessage(value);
}

std::string CheckLimit(const std::string& value) {
  return value.find_first_not_of("0123456789") == std::string::npos && value != "" &&
                 std::stoull(value) >= 1
             ? ""
             : "`--limit` must be at least 1";
}

// Export-wide limits, against damaged or hostile sources; the defaults are far above any
// real phone. Sizes take a unit (KiB, MiB, GiB, or kB, MB, GB).
void AddLimitOptions(CLI::App* command, ExportLimits* limits) {
  command
      ->add_option("--max-records", limits->records,
                   "fail when the export passes N records (default " +
                       std::to_string(kDefaultMaxRecords) + ")")
      ->check(CLI::PositiveNumber);
  command
      ->add_option("--max-rendered", limits->rendered,
                   "fail when the export's text passes SIZE, e.g. 512MiB (default " +
                       std::to_string(kDefaultMaxRendered / kMiB) + " MiB)")
      ->transform(CLI::AsSizeValue(false).description(""))
      ->type_name("SIZE")
      ->check(CLI::PositiveNumber);
  command
      ->add_option("--max-written", limits->written,
                   "fail when the files written pass SIZE (default " +
                       std::to_string(kDefaultMaxWritten / kMiB) + " MiB)")
      ->transform(CLI::AsSizeValue(false).description(""))
      ->type_name("SIZE")
      ->check(CLI::PositiveNumber);
}

void AddExportOptions(CLI::App* command, Options* options, VeldrakeDataKind kind,
                      const char* formatHelp, const char* outputHelp) {
  CLI::Option* device =
      command->add_option("--device", options->device, kDeviceHelp)->check(CheckDevice);
  command->add_option("--backup", options->backup, "export from a backup folder instead")
      ->excludes(device);
  command->add_option("--password-file", options->passwordFile,
                      "--backup: the encrypted backup's password is the first line of FILE "
                      "(else $VELDRAKE_BACKUP_PASSWORD, else asked on the terminal)");
  command->add_option("-f,--format", options->format, formatHelp)
      ->transform(CLI::CheckedTransformer(FormatsOf(kind)));
  command->add_option("-o,--output", options->output, outputHelp);
  command->add_option("--limit", options->limit, "stop after N records")->check(CheckLimit);
  command
      ->add_option("--timeout", options->timeoutSeconds,
                   "give up when the device sends nothing for SECONDS (default 60)")
      ->check(CLI::PositiveNumber);
  AddLimitOptions(command, &options->limits);
  command->add_flag("-q,--quiet", options->quiet, "no summary line");
  command->add_flag("-v,--verbose", options->verbose,
                    "also show the library's and the platform's own trace lines");
}

void AddContactOptions(CLI::App* contacts, Options* options) {
  contacts->add_flag("--no-photos", options->noPhotos, "--backup: leave the photos out");
  contacts->add_option("--account", options->account,
                       "--backup: only the people of this account (its name, e.g. iCloud, or "
                       "its type: local, icloud, exchange, carddav, google)");
  contacts->add_flag("--split", options->split,
                     "vcf/vcf4 with -o DIR/: one vCard file per person (Name.vcf)");
}

// --split writes vCard files into a folder; anything else is a mistake said at once.
bool CheckSplit(const Options& options, int* status) {
  if (!options.split) return true;
  const bool vcard = options.format == Format::kVCard3 || options.format == Format::kVCard4;
  struct stat st;
  const bool folder = !options.output.empty() &&
                      (options.output.back() == '/' ||
                       (::stat(options.output.c_str(), &st) == 0 && S_ISDIR(st.st_mode)));
  if (vcard && folder) return true;
  Say("--split writes one vCard per person into a folder: give --format vcf or vcf4 and "
      "-o DIR/ (with the trailing /)");
  *status = kExitUsage;
  return false;
}

void AddCommands(CLI::App& app, Options* options) {
  CLI::App* contacts = app.add_subcommand("contacts", "export the address book");
  AddExportOptions(
      contacts, options, kVeldrakeContacts,
      "vcf (vCard 3.0, the default), vcf4 (vCard 4.0), csv, json, google-csv (for Google "
      "Contacts) or outlook-csv (for Outlook)",
      "write to FILE, or into the folder DIR/ (made when missing)");
  contacts->add_flag("--bom", options->bom, "csv: start with a byte order mark (for Excel)");
  AddContactOptions(contacts, options);
  CLI::App* notes = app.add_subcommand("notes", "export the notes");
  AddExportOptions(notes, options, kVeldrakeNotes,
                   "json (the default), md (Markdown), txt or html (web pages, with -o DIR/)",
                   "write to FILE, or into the folder DIR/ (made when missing): with md, txt "
                   "and html one file per note, with attachments beside it");
  notes->add_option("--note-password-file", options->notePasswordFile,
                    "--backup: passwords of locked notes, one a line, each tried on each");
  notes->add_flag("--include-deleted", options->includeDeleted,
                  "--backup: notes in \"Recently Deleted\" too, as a folder of that name");
  notes->callback([options] { options->kind = kVeldrakeNotes; });
  CLI::App* doctor =
      app.add_subcommand("doctor", "check, step by step, whether a phone's export would work");
  doctor->add_option("--device", options->device, "the phone: usb or usb:UDID")->check(CheckDevice);
  doctor->add_option("--backup", options->backup,
                     "check this backup folder alone: complete, the password, the stores");
  doctor->add_option("--password-file", options->passwordFile,
                     "--backup: the encrypted backup's password is the first line of FILE "
                     "(else $VELDRAKE_BACKUP_PASSWORD, else asked on the terminal)");
  doctor->callback([options] { options->command = Options::kDoctor; });
  CLI::App* backups = app.add_subcommand(
      "backups", "list the backups under a folder: UDID, name, OS version, date, encrypted");
  backups->add_option("PATH", options->backup, "a backup folder or a folder of backups")
      ->required();
  backups->callback([options] { options->command = Options::kBackups; });
  AddPhoneCommands(app, &options->phone, CheckDevice);
}

// CLI11 says only "not expected" for a mistyped command: name the commands instead.
int UnknownCommand(const CLI::App& app, const std::string& word) {
  std::string names;
  for (const CLI::App* command : app.get_subcommands({}))
    names += (names.empty() ? "" : ", ") + command->get_name();
  Say("unknown command '" + word + "': the commands are " + names + " (veldrake --help says more)");
  return kExitUsage;
}

}  // namespace

bool ParseCommandLine(int argc, char** argv, Options* options, int* status) {
  CLI::App app{kDescription};
  app.footer(ExitStatusTable());
  app.require_subcommand(1);
  AddCommands(app, options);
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& e) {
    const bool unknownWord =
        app.get_subcommands().empty() && e.get_exit_code() != 0 && argc > 1 && argv[1][0] != '-';
    *status =
        unknownWord ? UnknownCommand(app, argv[1]) : (app.exit(e) == 0 ? kExitOk : kExitUsage);
    return false;
  }
  if (options->phone.command != PhoneRequest::kNone) options->command = Options::kPhone;
  if (app.got_subcommand("contacts") || app.got_subcommand("notes")) {
    const bool chosen = app.get_subcommands()[0]->count("--format") > 0;
    if (!chosen) options->format = DefaultFormat(options->kind);
  }
  return CheckSplit(*options, status);
}

}  // namespace host
