// Password: a backup's password, from where a person may keep it, never from argv:
// --password-file FILE (its first line), else the environment variable
// VELDRAKE_BACKUP_PASSWORD, else a prompt without echo when standard input is a terminal.
//
// Thread contract: the main thread (the prompt changes the terminal's settings).
#ifndef VELDRAKE_HOST_PASSWORD_H_
#define VELDRAKE_HOST_PASSWORD_H_

#include <string>

namespace host {

// The environment variable a password may come from.
extern const char kPasswordVariable[];

// True with *password set (possibly empty: none was given and none could be asked);
// false with *error when the file named cannot be read.
bool ReadPassword(const std::string& passwordFile, std::string* password, std::string* error);

// Overwrites the text before it is freed, so the secret does not linger in the heap.
void Forget(std::string* secret);

}  // namespace host

#endif  // VELDRAKE_HOST_PASSWORD_H_
