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

#include <cerrno>
#include <clocale>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <memory>
#include <set>
#include <sstream>

#include "BuiltinDevice.h"
#include "CommandLine.h"
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

using host::Options;

// Where the export goes: standard output, one file, or one file per note in a folder.
struct Target {
  std::unique_ptr<host::OutputFile> file;  // null: standard output or the folder
  std::string directory;                   // notes as one file each
  int stdoutFd = -1;                       // the export's standard output, once set apart
};

// The device asked: the one given, a phone, or the built-in one.
struct DeviceChoice {
  std::unique_ptr<host::BuiltinDevice> builtin;
  std::unique_ptr<host::PhoneExport> phone;  // set for a real phone
  std::string endpoint;
};

void Fail(const std::string& message) {
  std::fprintf(stderr, "veldrake: %s\n", message.c_str());
}

const char* Noun(VeldrakeDataKind kind) {
  return kind == kVeldrakeContacts ? "contacts" : "notes";
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

// Restarted calls keep the library's recv going to the next record, where the export
// stops; a second signal ends the program at once.
void CatchInterrupts() {
  struct sigaction action {};
  action.sa_handler = OnInterrupt;
  action.sa_flags = static_cast<int>(SA_RESTART | SA_RESETHAND);  // glibc gives them unsigned
  sigaction(SIGINT, &action, nullptr);
  sigaction(SIGTERM, &action, nullptr);
}

bool IsDirectory(const std::string& path) {
  struct stat st;
  return ::stat(path.c_str(), &st) == 0 && S_ISDIR(st.st_mode);
}

int OpenDirectory(const std::string& directory, Target* target) {
  if (!IsDirectory(directory)) {
    Fail(directory + ": " + std::strerror(ENOENT));
    return host::kExitOutput;
  }
  if (::access(directory.c_str(), W_OK) != 0) {
    Fail(directory + ": " + std::strerror(errno));
    return host::kExitOutput;
  }
  target->directory = directory;
  return host::kExitOk;
}

// The target is checked before the device is asked for anything.
int OpenOutput(const Options& options, Target* target) {
  if (options.output.empty() || options.output == "-") return host::kExitOk;
  const bool wantsFolder = options.output.back() == '/' || IsDirectory(options.output);
  if (options.kind == kVeldrakeNotes && wantsFolder && options.format != "json")
    return OpenDirectory(options.output, target);
  std::string path = options.output;
  if (wantsFolder)
    path += (path.back() == '/' ? "" : "/") + std::string(Noun(options.kind)) + "." +
            (options.format == "vcf4" ? "vcf" : options.format);
  target->file.reset(new host::OutputFile);
  std::string error;
  if (!target->file->Open(path, &error)) {
    Fail(error);
    return host::kExitOutput;
  }
  return host::kExitOk;
}

// A real phone is checked before the export: it may be set not to sync contacts.
int PickPhone(const Options& options, DeviceChoice* choice) {
  if (!host::IsPhoneEndpoint(choice->endpoint)) return host::kExitOk;
  choice->phone.reset(new host::PhoneExport(options.kind == kVeldrakeContacts, choice->endpoint));
  host::PhoneFailure failure;
  if (choice->phone->Check(&failure)) return host::kExitOk;
  Fail(failure.message);
  return failure.status;
}

int PickDevice(const Options& options, DeviceChoice* choice) {
  choice->endpoint = options.device;
  if (choice->endpoint.empty()) {
    std::string notice;
    choice->endpoint = host::ChooseDefaultDevice(&notice);
    Fail(notice);
  }
  if (!choice->endpoint.empty()) return PickPhone(options, choice);
  choice->builtin.reset(new host::BuiltinDevice);
  std::string error;
  if (!choice->builtin->Start(&error)) {
    Fail(error);
    return host::kExitSetup;
  }
  choice->endpoint = choice->builtin->endpoint();
  return host::kExitOk;
}

// The library's console lines go to standard output; the export owns it, so they are
// sent to standard error instead.
void SetStandardOutputApart(Target* target) {
  std::fflush(stdout);
  target->stdoutFd = ::dup(STDOUT_FILENO);
  ::dup2(STDERR_FILENO, STDOUT_FILENO);
}

// kExitOk when the records are there to be written, else the status to exit with.
int Export(const Options& options, DeviceChoice* choice, host::Exporter* exporter,
           host::ExportOutcome* outcome) {
  void* device = mdsim_device_new(choice->endpoint.c_str());  // null for a malformed one
  *outcome = exporter->Run(device);
  host::PhoneFailure phoneFailure;
  const bool phoneFailed =
      choice->phone && choice->phone->Explain(outcome->result, device, &phoneFailure);
  mdsim_device_free(device);
  choice->builtin.reset();

  if (outcome->closed && outcome->closeResult != kVeldrakeOk)
    Fail("warning: closing the device connection failed with code " +
         std::to_string(outcome->closeResult));
  if (host::g_interrupted) {
    Fail("interrupted; nothing was written");
    return host::kExitInterrupted;
  }
  if (outcome->outOfMemory) {
    Fail("out of memory while copying the records; nothing was written");
    return host::kExitOutput;
  }
  if (phoneFailed) {
    Fail(phoneFailure.message);
    return phoneFailure.status;
  }
  if (outcome->Failed(options.kind)) {
    Fail(host::Exporter::Describe(outcome->result));
    return host::Exporter::ExitStatus(outcome->result);
  }
  return host::kExitOk;
}

host::NotesWriter::Style NotesStyle(const std::string& format) {
  return format == "md" ? host::NotesWriter::kMarkdown : host::NotesWriter::kText;
}

std::string Render(const Options& options, host::Exporter& exporter) {
  std::ostringstream out;
  const std::string& format = options.format;
  if (options.kind == kVeldrakeNotes) {
    if (format == "json")
      host::JsonWriter::WriteNotes(out, exporter.notes());
    else
      host::NotesWriter(NotesStyle(format)).WriteAll(out, exporter.notes());
  } else if (format == "csv") {
    host::CsvWriter::Write(out, exporter.contacts());
  } else if (format == "json") {
    host::JsonWriter::WriteContacts(out, exporter.contacts());
  } else {
    host::VCardWriter writer(
        out, format == "vcf4" ? host::VCardWriter::kVCard4 : host::VCardWriter::kVCard3);
    for (const host::Contact& contact : exporter.contacts()) writer.Write(contact);
  }
  return out.str();
}

bool WriteNoteFiles(const Options& options, const Target& target, host::Exporter& exporter,
                    std::string* error) {
  const host::NotesWriter writer(NotesStyle(options.format));
  std::set<std::string> used;
  std::vector<std::pair<std::string, std::string>> files;
  for (size_t i = 0; i < exporter.notes().size(); ++i) {
    std::ostringstream out;
    writer.WriteNote(out, exporter.notes()[i]);
    files.emplace_back(writer.FileName(exporter.notes()[i], i, &used), out.str());
  }
  return host::OutputFile::CommitAll(target.directory, files, error);
}

int Write(const Options& options, const Target& target, host::Exporter& exporter) {
  std::string error;
  bool written;
  if (!target.directory.empty()) {
    written = WriteNoteFiles(options, target, exporter, &error);
  } else if (target.file) {
    written = target.file->Commit(Render(options, exporter), &error);
  } else {
    written = host::OutputFile::WriteAll(target.stdoutFd, Render(options, exporter), &error);
    if (!written) error = "standard output: " + error;
  }
  if (!written) {
    Fail(error);
    return host::kExitOutput;
  }
  return host::kExitOk;
}

void Report(const Options& options, const DeviceChoice& choice, const host::Exporter& exporter,
            const host::ExportOutcome& outcome) {
  const std::string warning = choice.phone ? choice.phone->Warning(exporter.count()) : "";
  if (!warning.empty()) Fail(warning);
  if (!options.quiet)
    std::fprintf(stderr, "exported %zu %s in %.2f s\n", exporter.count(), Noun(options.kind),
                 outcome.seconds);
}

int Run(const Options& options) {
  Target target;
  int status = OpenOutput(options, &target);
  if (status != host::kExitOk) return status;
  host::Library library;
  std::string error;
  if (!library.Load(&error)) {
    Fail(error);
    return host::kExitSetup;
  }
  DeviceChoice choice;
  if ((status = PickDevice(options, &choice)) != host::kExitOk) return status;
  SetStandardOutputApart(&target);
  host::Exporter exporter(library, options.kind, options.limit, ::isatty(STDERR_FILENO) == 1);
  host::ExportOutcome outcome;
  if ((status = Export(options, &choice, &exporter, &outcome)) != host::kExitOk) return status;
  if ((status = Write(options, target, exporter)) != host::kExitOk) return status;
  Report(options, choice, exporter, outcome);
  return host::kExitOk;
}

}  // namespace

int main(int argc, char** argv) {
  SetUtf8Locale();
  std::signal(SIGPIPE, SIG_IGN);
  Options options;
  int status = host::kExitOk;
  if (!host::ParseCommandLine(argc, argv, &options, &status)) return status;
  if (options.phone.command != host::PhoneRequest::kNone)
    return host::RunPhoneCommand(options.phone);
  CatchInterrupts();
  return Run(options);
}
