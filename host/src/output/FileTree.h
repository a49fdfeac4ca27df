// FileTree: reading and removing a folder tree of our own through descriptors, never
// following a link: the entries of a folder, and a whole subtree removed.
//
// Thread contract: pure functions over descriptors the caller owns; any thread.
#ifndef VELDRAKE_HOST_FILETREE_H_
#define VELDRAKE_HOST_FILETREE_H_

#include <string>
#include <vector>

namespace host {

struct TreeEntry {
  std::string name;
  bool folder = false;  // a real folder (a link to one is not)
};

// The entries of the folder open at `fd`, "." and ".." left out; false when it cannot be
// read.
bool ListFolder(int fd, std::vector<TreeEntry>* entries);

// Removes `name` in the folder `parent` and, when it is a folder, everything below it;
// links are removed, never followed. Goes on past what it cannot remove; false when
// something stays.
bool RemoveTree(int parent, const std::string& name);

}  // namespace host

#endif  // VELDRAKE_HOST_FILETREE_H_
