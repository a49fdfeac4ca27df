// An export from a device as the command line runs it: device choice, the export, and
// the one line that says how it ended.
#include "ExportCommand.h"

#include <unistd.h>

#include <cstdio>
#include <memory>

#include "BuiltinDevice.h"
#include "ContactOptions.h"
#include "Exporter.h"
#include "Library.h"
#include "Messages.h"
#include "MobileDevice/mdsim.h"
#include "Output.h"
#include "Phones.h"
#include "Signals.h"

namespace host {
namespace {

// The device asked: the one given, a phone, or the built-in one.
struct DeviceChoice {
  std::unique_ptr<BuiltinDevice> builtin;
  std::unique_ptr<PhoneExport> phone;  // set for a real phone
  std::string endpoint;
};

const char* Noun(VeldrakeDataKind kind) {
  return kind == kVeldrakeContacts ? "contacts" : "notes";
}

int Failed(const std::string& line, int status) {
  Say(line);
  return status;
}

// A real phone is checked before the export: it may be locked or set not to sync.
int CheckPhone(const Options& options, DeviceChoice* choice) {
  if (!IsPhoneEndpoint(choice->endpoint)) return kExitOk;
  choice->phone.reset(new PhoneExport(options.kind == kVeldrakeContacts, choice->endpoint));
  PhoneFailure failure;
  if (choice->phone->Check(&failure)) return kExitOk;
  return Failed(failure.message, failure.status);
}

int PickDevice(const Options& options, DeviceChoice* choice) {
  choice->endpoint = options.device == kSampleDevice ? "" : options.device;
  if (options.device.empty()) {
    std::string notice;
    PhoneFailure failure;
    if (!ChooseDefaultDevice(&choice->endpoint, &notice, &failure))
      return Failed(failure.message, failure.status);
    Say(notice);
  }
  if (!choice->endpoint.empty()) return CheckPhone(options, choice);
  choice->builtin.reset(new BuiltinDevice);
  std::string error;
  if (!choice->builtin->Start(&error)) return Failed(error, kExitSetup);
  choice->endpoint = choice->builtin->endpoint();
  return kExitOk;
}

// How the export ended when the records cannot be written: the status, its line said.
int Explain(const Options& options, const DeviceChoice& choice, const ExportOutcome& outcome,
            const PhoneFailure* phoneFailure) {
  if (outcome.cancelled || CancelRequested())
    return Failed("stopped (Ctrl-C); nothing was written", kExitInterrupted);
  if (outcome.sinkStopped) return kExitOk;  // the output says why when it is written
  if (outcome.timedOut)
    return Failed("the device stopped answering: nothing came for " +
                      std::to_string(options.timeoutSeconds) +
                      " s, so the export was given up; nothing was written (a slow device: "
                      "--timeout SECONDS)",
                  kExitDeviceSilent);
  if (outcome.outOfMemory)
    return Failed("out of memory while copying the records; nothing was written", kExitOutput);
  if (outcome.CutShort() && !choice.phone)
    return Failed(
        "the device closed the connection before the export was complete; nothing "
        "was written",
        kExitConnectionLost);
  if (phoneFailure) return Failed(phoneFailure->message, phoneFailure->status);
  if (outcome.CutShort()) {
    PhoneFailure lost;
    DescribePhoneError(MDPHONE_ERR_CONNECTION_LOST, &lost);
    return Failed(lost.message, lost.status);
  }
  if (outcome.Failed(options.kind))
    return Failed(Exporter::Describe(outcome.result), Exporter::ExitStatus(outcome.result));
  return kExitOk;
}

int Export(const Options& options, DeviceChoice* choice, Exporter* exporter, double* seconds) {
  void* device = mdsim_device_new(choice->endpoint.c_str());  // null for a malformed one
  const ExportOutcome outcome = exporter->Run(device);
  PhoneFailure phoneFailure;
  const bool phoneFailed =
      choice->phone && choice->phone->Explain(outcome.result, device, &phoneFailure);
  mdsim_device_free(device);
  choice->builtin.reset();
  if (outcome.closed && outcome.closeResult != kVeldrakeOk)
    Say("warning: closing the device connection failed with code " +
        std::to_string(outcome.closeResult));
  *seconds = outcome.seconds;
  return Explain(options, *choice, outcome, phoneFailed ? &phoneFailure : nullptr);
}

}  // namespace

int RunExport(const Options& options) {
  Output output(options);
  int status = output.Open();
  if (status != kExitOk) return status;
  Library library;
  std::string error;
  if (!library.Load(&error)) return Failed(error, kExitSetup);
  DeviceChoice choice;
  if ((status = PickDevice(options, &choice)) != kExitOk) return status;
  output.SetStandardOutputApart();
  ExportSettings settings;
  settings.kind = options.kind;
  settings.limit = options.limit;
  settings.progress = ::isatty(STDERR_FILENO) == 1;
  settings.quietLimit = std::chrono::seconds(options.timeoutSeconds);
  settings.account = options.account;
  settings.sink = &output;
  Exporter exporter(library, settings);
  double seconds = 0;
  if ((status = Export(options, &choice, &exporter, &seconds)) != kExitOk) return status;
  if ((status = CheckAccount(options, exporter)) != kExitOk) return status;
  if ((status = output.Write()) != kExitOk) return status;
  SayWhereThePhotosAre(options);
  const std::string warning = choice.phone ? choice.phone->Warning(exporter.count()) : "";
  if (!warning.empty()) Say(warning);
  if (!options.quiet)
    std::fprintf(stderr, "exported %zu %s in %.2f s\n", exporter.count(), Noun(options.kind),
                 seconds);
  return kExitOk;
}

}  // namespace host
