// kelmtool zip [-a] [-0|-1|-2|-3] ARCHIVE FILE|FOLDER...
#include <algorithm>
#include <set>
#include <string>
#include <vector>

#include "kelm/archive/unzip_file_stream.h"
#include "kelm/archive/zip_file_stream.h"
#include "kelm/datetime/time_stamp.h"
#include "kelm/files/file_utils.h"
#include "kelm/frame/exceptions.h"
#include "kelm/port/file.h"
#include "kelm/port/path.h"
#include "kelm/streams/fstream.h"
#include "tools/console.h"
#include "tools/kelmtool.h"
#include "tools/kelmtool_progress.h"

namespace kelm::tools {
namespace {

constexpr char kUsage[] =
    "usage: kelmtool zip [-a] [-0|-1|-2|-3] ARCHIVE FILE|FOLDER...\n"
    "\n"
    "  Packs files, and folders with everything in them, into the ZIP archive ARCHIVE.\n"
    "  -a      adds to an existing archive; without it an existing ARCHIVE is an error\n"
    "  -0..-3  compression: 0 stored, 1 fastest, 2 default (the default), 3 best\n"
    "\n"
    "  Members are named by the paths as given, with \"/\" between folders and without\n"
    "  a drive, a leading \"/\" or \"..\"; they keep the files' times; names are stored\n"
    "  in UTF-8. Links to folders are not followed. A name already in the archive is\n"
    "  reported and left out.\n";

constexpr unsigned kPage = 32768;

struct Entry {
  std::string path;  // on disk
  std::string name;  // in the archive
  bool folder;
};

// The member name of a path as given.
std::string MemberName(const std::string& path) {
  std::string text = path;
  std::replace(text.begin(), text.end(), '\\', '/');
  if (text.size() >= 2 && text[1] == ':') text.erase(0, 2);
  std::string name;
  std::size_t start = 0;
  while (start <= text.size()) {
    std::size_t end = text.find('/', start);
    if (end == std::string::npos) end = text.size();
    const std::string part = text.substr(start, end - start);
    if (!part.empty() && part != "." && part != "..") name += (name.empty() ? "" : "/") + part;
    start = end + 1;
  }
  return name;
}

class Packer {
 public:
  Packer(Output& out, const std::string& archive) : out_(out), archive_(kelm::port::FullPathOf(archive.c_str())) {}

  // Gathers `path` (a folder with what it holds) as member `name`.
  void Gather(const std::string& path, const std::string& name) {
    const unsigned long attributes = kelm::port::PathAttributes(path.c_str());
    if (attributes == INVALID_FILE_ATTRIBUTES) {
      Problem(FromSystemName(path) + ": not found");
      return;
    }
    if ((attributes & FILE_ATTRIBUTE_DIRECTORY) == 0) {
      if (kelm::port::FullPathOf(path.c_str()) != archive_) entries_.push_back({path, name, false});
      return;
    }
    if (!name.empty()) entries_.push_back({path, name + "/", true});
    if ((attributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0) return;
    std::vector<std::string> children;
    {
      kelm::port::DirectoryReader reader(path.c_str());
      kelm::port::DirectoryEntry entry;
      while (reader.Next(&entry)) {
        const std::string child = entry.name;
        if (child != "." && child != "..") children.push_back(child);
      }
    }
    std::sort(children.begin(), children.end());
    for (const std::string& child : children) {
      const std::string text = FromSystemName(child);
      Gather(path + kelm::port::kPathSeparator + child, name.empty() ? text : name + "/" + text);
    }
  }

  // Adds what was gathered; members already in the archive are reported.
  void Pack(ZipFileStream& zip, std::set<std::string> taken, ArchiveFileStream::CompressionLevel level) {
    ProgressLine progress(out_);
    std::size_t done = 0;
    for (const Entry& entry : entries_) {
      progress.Update("packing " + entry.name, ++done, entries_.size());
      if (!taken.insert(entry.name).second) {
        Problem(entry.name + ": already in the archive; left out");
        continue;
      }
      if (entry.folder) {
        if (!zip.AddDir(entry.name.c_str())) Problem(entry.name + ": cannot be added");
        continue;
      }
      try {
        FastFStream source(kPage);
        source.Open(entry.path.c_str(), fmRead);
        TimeStamp time;
        GetFileDateTime(entry.path.c_str(), fdtLastWrite, time, true);
        if (zip.AddStream(source, entry.name.c_str(), level, time)) {
          ++added_;
        } else {
          Problem(entry.name + ": cannot be added");
        }
      } catch (const AException& e) {
        Problem(entry.name + ": " + static_cast<const char*>(e.Description()));
      }
    }
  }

  void Problem(const std::string& text) {
    out_.Err("kelmtool zip: " + text + "\n");
    ++problems_;
  }
  std::size_t Added() const { return added_; }
  int Problems() const { return problems_; }

 private:
  Output& out_;
  std::string archive_;
  std::vector<Entry> entries_;
  std::size_t added_ = 0;
  int problems_ = 0;
};

}  // namespace

int ZipCommand(const Args& args, Output& out) {
  if (AsksForHelp(args)) {
    out.Out(kUsage);
    return kExitOk;
  }
  bool append = false;
  auto level = ArchiveFileStream::clDefault;
  std::size_t i = 0;
  for (; i < args.size() && args[i].size() == 2 && args[i][0] == '-'; ++i) {
    if (args[i] == "-a") {
      append = true;
    } else if (args[i][1] >= '0' && args[i][1] <= '3') {
      level = static_cast<ArchiveFileStream::CompressionLevel>(args[i][1] - '0');
    } else {
      break;
    }
  }
  if (args.size() - i < 2 || args[i][0] == '-') {
    out.Err(kUsage);
    return kExitUsage;
  }
  const std::string& archive = args[i];
  const std::string archive_file = SystemName(archive);
  const bool exists = kelm::port::PathAttributes(archive_file.c_str()) != INVALID_FILE_ATTRIBUTES;
  if (exists && !append) {
    out.Err("kelmtool zip: " + archive + " exists; -a adds to it\n");
    return kExitProblems;
  }
  // An empty file starts a new archive; any other must be one.
  std::set<std::string> taken;
  if (exists && FStream(archive_file.c_str(), fmRead).Size() != 0) {
    UnZipFileStream existing;
    if (!existing.Open(archive_file.c_str())) {
      out.Err("kelmtool zip: " + archive + ": " + existing.Error() + "\n");
      return kExitProblems;
    }
    taken.insert(existing.Files().begin(), existing.Files().end());
  }

  Packer packer(out, archive_file);
  for (std::size_t k = i + 1; k < args.size(); ++k) packer.Gather(SystemName(args[k]), MemberName(args[k]));
  ZipFileStream zip(ArchiveFileStream::fncUtf8);
  if (!zip.Open(archive_file.c_str(), append)) {
    out.Err("kelmtool zip: " + archive + ": the archive cannot be written\n");
    return kExitProblems;
  }
  packer.Pack(zip, std::move(taken), level);
  if (!zip.Finish()) packer.Problem(archive + ": the archive cannot be finished");
  zip.Close(false);
  out.Out(archive + ": " + std::to_string(packer.Added()) + " files added\n");
  return packer.Problems() == 0 ? kExitOk : kExitProblems;
}

}  // namespace kelm::tools
