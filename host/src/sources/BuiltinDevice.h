// BuiltinDevice: the device used when no --device is given, an in-process emulator that
// serves the sample address book and notes on a Unix socket in a fresh temporary folder.
//
// The samples are looked for in ../share/veldrake/samples beside the executable (the
// install layout) and then in the source tree the program was built from. The folder and
// its socket are removed when the object goes, or by a signal that ends the program.
//
// Ownership: owns the emulator's thread and the temporary folder. Thread contract: made
// and destroyed on one thread; the emulator serves on its own.
#ifndef VELDRAKE_HOST_BUILTINDEVICE_H_
#define VELDRAKE_HOST_BUILTINDEVICE_H_

#include <memory>
#include <string>

namespace devicesim {
class Listener;
}

namespace host {

class BuiltinDevice {
 public:
  BuiltinDevice();
  ~BuiltinDevice();
  BuiltinDevice(const BuiltinDevice&) = delete;
  BuiltinDevice& operator=(const BuiltinDevice&) = delete;

  // The folder holding addressbook.vcf and notes.json, or "" when there is none.
  static std::string SamplesDirectory();

  // Loads the samples and starts listening; false with *error set.
  bool Start(std::string* error);
  // "unix:/tmp/veldrake-XXXXXX/device.sock"
  std::string endpoint() const;

 private:
  std::string folder_;
  std::string socket_;
  std::unique_ptr<devicesim::Listener> listener_;
};

}  // namespace host

#endif  // VELDRAKE_HOST_BUILTINDEVICE_H_
