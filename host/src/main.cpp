// veldrake: exports the contacts and notes of a device through libVeldrakeForMac.
//
// The program is a host as the library expects one: it loads the library from its own
// folder at run time, sets a UTF-8 locale (the library converts text under the process's
// locale and never sets one), obtains a device handle, and makes one blocking GetData call
// followed by DisContectDeviceAndProtocol where the calling order wants it. Records are
// copied in the callback and written out only when the export has succeeded, to a
// temporary file that is then renamed over the target.
#include <langinfo.h>
#include <sys/stat.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <clocale>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <iostream>
#include <memory>
#include <set>
#include <sstream>

#include "BuiltinDevice.h"
#include "CsvWriter.h"
#include "Exporter.h"
#include "JsonWriter.h"
#include "Library.h"
#include "MobileDevice/mdsim.h"
#include "NotesWriter.h"
#include "OutputFile.h"
#include "PhoneCommands.h"
#include "Phones.h"
#include "VCardWriter.h"

namespace {

using host::DataKind;

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

struct Options {
  std::string device;
  std::string format;
  std::string output;
  size_t limit = 0;
  bool quiet = false;
};

void Fail(const std::string& message) {
  std::fprintf(stderr, "veldrake: %s\n", message.c_str());
}

// The library converts text with the process's locale: it must be a UTF-8 one.
void SetUtf8Locale() {
  const char* set = std::setlocale(LC_ALL, "");
  if (set != nullptr && std::strcmp(nl_langinfo(CODESET), "UTF-8") == 0) return;
  if (std::setlocale(LC_ALL, "C.UTF-8") == nullptr &&
      std::setlocale(LC_ALL, "en_US.UTF-8") == nullptr)
    Fail("warning: no UTF-8 locale is available; non-ASCII text will be cut");
}

void OnInterrupt(int) {
  host::g_interrupted = 1;
}

bool IsDirectory(const std::string& path) {
  struct stat st;
  return ::stat(path.c_str(), &st) == 0 && S_ISDIR(st.st_mode);
}

std::string Render(DataKind kind, const std::string& format, host::Exporter& exporter) {
  std::ostringstream out;
  if (kind == DataKind::kContacts) {
    if (format == "csv") {
      host::CsvWriter::Write(out, exporter.contacts());
    } else if (format == "json") {
      host::JsonWriter::WriteContacts(out, exporter.contacts());
    } else {
      host::VCardWriter writer(
          out, format == "vcf4" ? host::VCardWriter::kVCard4 : host::VCardWriter::kVCard3);
      for (const host::Contact& contact : exporter.contacts()) writer.Write(contact);
    }
  } else if (format == "json") {
    host::JsonWriter::WriteNotes(out, exporter.notes());
  } else {
    host::NotesWriter(format == "md" ? host::NotesWriter::kMarkdown : host::NotesWriter::kText)
        .WriteAll(out, exporter.notes());
  }
  return out.str();
}

int Run(DataKind kind, Options options) {
  const char* noun = kind == DataKind::kContacts ? "contacts" : "notes";
  if (options.format.empty()) options.format = kind == DataKind::kContacts ? "vcf" : "json";

  // The target is checked before the device is asked for anything.
  std::string error;
  std::string directory;  // notes as one file each
  std::unique_ptr<host::OutputFile> file;
  if (!options.output.empty() && options.output != "-") {
    const bool wantsFolder = options.output.back() == '/' || IsDirectory(options.output);
    if (kind == DataKind::kNotes && wantsFolder && options.format != "json") {
      directory = options.output;
      if (!IsDirectory(directory)) {
        Fail(directory + ": " + std::strerror(ENOENT));
        return host::kExitOutput;
      }
      if (::access(directory.c_str(), W_OK) != 0) {
        Fail(directory + ": " + std::strerror(errno));
        return host::kExitOutput;
      }
    } else {
      std::string path = options.output;
      if (wantsFolder)
        path += (path.back() == '/' ? "" : "/") + std::string(noun) + "." +
                (options.format == "vcf4" ? "vcf" : options.format);
      file.reset(new host::OutputFile);
      if (!file->Open(path, &error)) {
        Fail(error);
        return host::kExitOutput;
      }
    }
  }

  host::Library library;
  if (!library.Load(&error)) {
    Fail(error);
    return host::kExitSetup;
  }
  std::unique_ptr<host::BuiltinDevice> builtin;
  std::string endpoint = options.device;
  if (endpoint.empty()) {
    std::string notice;
    endpoint = host::ChooseDefaultDevice(&notice);
    Fail(notice);
  }
  const bool phone = host::IsPhoneEndpoint(endpoint);
  host::PhoneExport phoneExport(kind == DataKind::kContacts, endpoint);
  host::PhoneFailure phoneFailure;
  if (phone && !phoneExport.Check(&phoneFailure)) {
    Fail(phoneFailure.message);
    return phoneFailure.status;
  }
  if (endpoint.empty()) {
    builtin.reset(new host::BuiltinDevice);
    if (!builtin->Start(&error)) {
      Fail(error);
      return host::kExitSetup;
    }
    endpoint = builtin->endpoint();
  }

  // The library's console lines go to standard output; the export owns it, so they are
  // sent to standard error instead.
  std::fflush(stdout);
  const int dataFd = ::dup(STDOUT_FILENO);
  ::dup2(STDERR_FILENO, STDOUT_FILENO);

  void* device = mdsim_device_new(endpoint.c_str());  // null for a malformed endpoint
  host::Exporter exporter(library, kind, options.limit, ::isatty(STDERR_FILENO) == 1);
  const host::ExportOutcome outcome = exporter.Run(device);
  const bool phoneFailed = phone && phoneExport.Explain(outcome.result, device, &phoneFailure);
  mdsim_device_free(device);
  builtin.reset();

  const bool stoppedContacts =
      kind == DataKind::kContacts && outcome.stoppedByHost && outcome.result == -1;
  if (outcome.closed && outcome.closeResult != 0)
    Fail("warning: closing the device connection failed with code " +
         std::to_string(outcome.closeResult));
  if (host::g_interrupted) {
    Fail("interrupted; nothing was written");
    return host::kExitInterrupted;
  }
  if (outcome.outOfMemory) {
    Fail("out of memory while copying the records; nothing was written");
    return host::kExitOutput;
  }
  if (phoneFailed) {
    Fail(phoneFailure.message);
    return phoneFailure.status;
  }
  if (outcome.result != 0 && !stoppedContacts) {
    Fail(host::Exporter::Describe(outcome.result));
    return host::Exporter::ExitStatus(outcome.result);
  }

  if (!directory.empty()) {
    host::NotesWriter writer(options.format == "md" ? host::NotesWriter::kMarkdown
                                                    : host::NotesWriter::kText);
    std::set<std::string> used;
    std::vector<std::pair<std::string, std::string>> files;
    for (size_t i = 0; i < exporter.notes().size(); ++i) {
      std::ostringstream out;
      writer.WriteNote(out, exporter.notes()[i]);
      files.emplace_back(writer.FileName(exporter.notes()[i], i, &used), out.str());
    }
    if (!host::OutputFile::CommitAll(directory, files, &error)) {
      Fail(error);
      return host::kExitOutput;
    }
  } else {
    const std::string content = Render(kind, options.format, exporter);
    const bool written =
        file ? file->Commit(content, &error) : host::OutputFile::WriteAll(dataFd, content, &error);
    if (!written) {
      Fail(file ? error : "standard output: " + error);
      return host::kExitOutput;
    }
  }
  if (phone && !phoneExport.Warning(exporter.count()).empty())
    Fail(phoneExport.Warning(exporter.count()));
  if (!options.quiet)
    std::fprintf(stderr, "exported %zu %s in %.2f s\n", exporter.count(), noun, outcome.seconds);
  return host::kExitOk;
}

}  // namespace

int main(int argc, char** argv) {
  SetUtf8Locale();
  std::signal(SIGPIPE, SIG_IGN);

  CLI::App app{
      "Exports the contacts and notes of a device through libVeldrakeForMac.\n"
      "Without --device it uses a built-in emulated device with the sample data."};
  app.footer(std::string(kExitTable) + host::kPhoneExitTable + kExitInterruptedRow);
  app.require_subcommand(1);
  Options options;
  auto common = [&options](CLI::App* command, const std::vector<std::string>& formats,
                           const char* what) {
    command->add_option("--device", options.device,
                        "the device: usb (the one attached phone), usb:UDID, or unix:PATH or "
                        "tcp:HOST:PORT of an emulator or bridge (default: the one trusted "
                        "phone attached, else the built-in device)");
    command->add_option("-f,--format", options.format, what)->check(CLI::IsMember(formats));
    command->add_option("--limit", options.limit, "stop after N records")
        ->check(CLI::PositiveNumber);
    command->add_flag("-q,--quiet", options.quiet, "no summary line");
  };
  CLI::App* contacts = app.add_subcommand("contacts", "export the address book");
  common(contacts, {"vcf", "vcf4", "csv", "json"},
         "vcf (vCard 3.0, the default), vcf4 (vCard 4.0), csv or json");
  contacts->add_option("-o,--output", options.output, "write to FILE instead of standard output");
  CLI::App* notes = app.add_subcommand("notes", "export the notes");
  common(notes, {"json", "md", "txt"}, "json (the default), md (Markdown) or txt");
  notes->add_option("-o,--output", options.output,
                    "write to FILE, or with md/txt to one file per note in the folder DIR");
  host::PhoneCommands phones(app);

  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& e) {
    const int status = app.exit(e);
    return status == 0 ? host::kExitOk : host::kExitUsage;
  }
  if (phones.parsed()) return phones.Run();
  struct sigaction action {};
  action.sa_handler = OnInterrupt;
  // Restarted calls keep the library's recv going to the next record, where the export
  // stops; a second signal ends the program at once.
  action.sa_flags = SA_RESTART | SA_RESETHAND;
  sigaction(SIGINT, &action, nullptr);
  sigaction(SIGTERM, &action, nullptr);
  return Run(notes->parsed() ? DataKind::kNotes : DataKind::kContacts, options);
}
