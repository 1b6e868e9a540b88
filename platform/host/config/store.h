// The file that the running configuration is kept in.
#pragma once

#include <optional>
#include <stdexcept>
#include <string>

namespace host {

/// The content of a regular file, whole. Throws std::runtime_error with path and reason.
std::string ReadFile(const std::string& path);

/// The file system has no room for the text (ENOSPC, EDQUOT).
class NoRoom : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// The new text is in place, but whether it is there after a power cut nobody knows.
class UncertainSave : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

class Store {
 public:
  /// What the name of a new file has behind it until it takes the place of the old one.
  static constexpr char kTemporary[] = ".tmp";

  /// `path` is a file in a folder that exists at the first Save().
  explicit Store(std::string path);

  /// The stored text, nothing when there is no file. Throws std::runtime_error with path and reason
  /// when something is there that cannot be read.
  std::optional<std::string> Load() const;

  /// Whether something is there, or cannot be looked for.
  bool Exists() const;

  /// Replaces the stored text. Whenever the process or the machine stops, the file is the whole
  /// old one or the whole new one. Throws std::runtime_error with path and reason; the file is
  /// then the old one, and nothing is left beside it. Throws UncertainSave when the file is the new
  /// one and the folder cannot be written down; to go on with the old text would then be as wrong
  /// as with the new one, so the process has to end and to start with what is there.
  void Save(const std::string& text) const;

  /// Renames what is at the path to a free name beside it, "name.refused", "name.refused.1" and so
  /// on, and returns that path. Throws std::runtime_error with path and reason.
  std::string MoveAside() const;

  /// Has `other` be what is stored here, for good; false when nothing is. Throws
  /// std::runtime_error with path and reason; then either is there, whole.
  bool MoveTo(const Store& other) const;

  /// Removes what is stored, if anything is, for good. Throws std::runtime_error with path and
  /// reason when it may still be there at the next start.
  void Remove() const;

  const std::string& Path() const { return path_; }

 private:
  std::string path_;
};

}  // namespace host
