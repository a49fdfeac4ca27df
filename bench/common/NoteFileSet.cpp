#include "NoteFileSet.h"

#include <fcntl.h>
#include <openssl/evp.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <vector>

#include "devicesim/AddressBook.h"
#include "devicesim/NoteStore.h"
#include "devicesim/backup/BackupWriter.h"

namespace notefileset {

namespace fs = std::filesystem;

namespace {

constexpr size_t kChunk = 1 << 20;
constexpr size_t kPadding = 16;  // the most AES-CBC pads a file by

std::string FileName(size_t note) {
  return "file" + std::to_string(note) + ".pdf";
}

// Copies one file, decrypting with a fixed key when asked: the work an export cannot avoid.
bool CopyOne(const fs::path& from, const fs::path& to, bool encrypted,
             std::vector<unsigned char>& in, std::vector<unsigned char>& plain) {
  const unsigned char key[32] = {1}, iv[16] = {};
  const int src = open(from.c_str(), O_RDONLY | O_CLOEXEC);
  const int dst = open(to.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
  EVP_CIPHER_CTX* ctx = EVP_CIPHER_CTX_new();
  bool ok = src >= 0 && dst >= 0 && ctx != nullptr &&
            EVP_DecryptInit_ex(ctx, EVP_aes_256_cbc(), nullptr, key, iv) == 1;
  if (ctx != nullptr) EVP_CIPHER_CTX_set_padding(ctx, 0);
  for (ssize_t got; ok && (got = read(src, in.data(), in.size())) > 0;) {
    int produced = static_cast<int>(got);
    if (encrypted)
      ok = EVP_DecryptUpdate(ctx, plain.data(), &produced, in.data(), static_cast<int>(got)) == 1;
    const unsigned char* bytes = encrypted ? plain.data() : in.data();
    ok = ok && write(dst, bytes, static_cast<size_t>(produced)) == produced;
  }
  EVP_CIPHER_CTX_free(ctx);
  if (src >= 0) close(src);
  if (dst >= 0) ok = close(dst) == 0 && ok;
  return ok;
}

}  // namespace

std::string Noise(size_t bytes, uint32_t seed) {
  std::string out(bytes, '\0');
  for (char& c : out) {
    seed = seed * 1664525u + 1013904223u;
    c = static_cast<char>(seed >> 24);
  }
  return out;
}

bool WriteFiles(const Shape& shape, const std::string& filesDir) {
  fs::create_directories(filesDir);
  for (size_t i = 0; i < shape.notes; i += shape.every) {
    std::ofstream out(fs::path(filesDir) / FileName(i), std::ios::binary);
    out << Noise(shape.fileBytes, static_cast<uint32_t>(i));
    if (!out.flush()) return false;
  }
  return true;
}

bool WriteBackup(const Shape& shape, const std::string& filesDir, const std::string& backupDir,
                 const std::string& password, std::string* error) {
  devicesim::NoteStore notes;
  for (size_t i = 0; i < shape.notes; ++i) {
    devicesim::Note note;
    note.subject = "Note " + std::to_string(i);
    note.content = "Some text of note " + std::to_string(i);
    if (i % shape.every == 0) {
      note.markup = note.subject + "\nA file: ![](" + FileName(i) + ")\n";
      note.baseDir = filesDir;
    }
    notes.notes.push_back(note);
  }
  devicesim::backup::BackupOptions options;
  options.password = password;
  options.sha256Iterations = 1000;
  options.sha1Iterations = 100;
  return devicesim::backup::WriteBackup({}, notes, backupDir, options, error);
}

namespace {

// The content files of the set in the backup, in a fixed order.
std::vector<fs::path> ContentFiles(const std::string& backupDir, size_t fileBytes) {
  std::vector<fs::path> files;
  for (const auto& entry : fs::recursive_directory_iterator(backupDir))
    if (entry.is_regular_file() && entry.file_size() >= fileBytes &&
        entry.file_size() <= fileBytes + kPadding)
      files.push_back(entry.path());
  return files;
}

bool WriteNoteFile(const fs::path& to) {
  static const std::string kText(kNoteFileBytes, 'n');
  const int fd = open(to.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0644);
  bool ok = fd >= 0 && write(fd, kText.data(), kText.size()) == static_cast<ssize_t>(kText.size());
  if (fd >= 0) ok = close(fd) == 0 && ok;
  return ok;
}

}  // namespace

double Floor(const std::string& backupDir, const std::string& outDir, size_t fileBytes,
             bool encrypted, const Shape* notes) {
  const std::vector<fs::path> files = ContentFiles(backupDir, fileBytes);  // untimed: a listing
  const auto start = std::chrono::steady_clock::now();
  std::vector<unsigned char> in(kChunk), plain(kChunk + 32);  // one pair for every file
  const fs::path out(outDir);
  bool ok = true;
  const size_t count = notes != nullptr ? notes->notes : files.size();
  for (size_t i = 0, n = 0; i < count; ++i) {
    const bool holds = notes == nullptr || (i % notes->every == 0 && n < files.size());
    fs::path folder = out;
    if (notes != nullptr) {
      ok = WriteNoteFile(out / ("Note " + std::to_string(i) + ".md")) && ok;
      folder = out / ("Note " + std::to_string(i) + ".assets");
      if (holds) ok = mkdir(folder.c_str(), 0755) == 0 && ok;
    }
    if (holds && n < files.size()) {
      ok = CopyOne(files[n], folder / ("floor" + std::to_string(n)), encrypted, in, plain) && ok;
      ++n;
    }
  }
  const std::chrono::duration<double> seconds = std::chrono::steady_clock::now() - start;
  return ok ? seconds.count() : -1;
}

}  // namespace notefileset
