#ifndef VEXAMGR_TOOLS_DATABASE_FILES_H
#define VEXAMGR_TOOLS_DATABASE_FILES_H

#include <string>

// The files of a database, and what is done to its folder. The functions that return an int return
// 0 or errno.

bool IsLink(const std::string& path);

// The path of the file behind a name: the target of a symbolic link, or the name itself if it is no
// link or leads nowhere.
std::string ResolveDatabase(const std::string& name);

std::string FolderOf(const std::string& path);

// Opens a file or a folder with these flags of open(2) and has it written to the disk. Of a
// folder, only its list of names is written, not the content of its files.
int SyncFile(const std::string& path, int flags);
int SyncFolder(const std::string& folder);

// Whether a watch directory ends in a slash, with which vexamgr would misread the paths of
// deletions. Says so on standard error.
bool EndsInSlash(const std::string& watchDirectory);

// The file DATABASE-incomplete, which prepare leaves beside a database. While the file is there,
// the catalogue may lack clips of its population.
class IncompleteMark {
 public:
  // Opens the mark if there is one.
  explicit IncompleteMark(const std::string& database);
  ~IncompleteMark();
  IncompleteMark(const IncompleteMark&) = delete;
  IncompleteMark& operator=(const IncompleteMark&) = delete;

  // Whether there was a mark to open, and it is there still.
  bool IsThere() const;

  // Locks the mark until this object is destroyed. Returns ENOENT if there was no mark to open, and
  // EWOULDBLOCK if another process has locked it.
  int Lock() const;

  // Removes the mark if it is there still, once all else that was done in its folder is on the
  // disk.
  int Remove() const;

  const std::string path;

 private:
  const int descriptor;
  const int openError;  // 0, or errno
};

#endif
