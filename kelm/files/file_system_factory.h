// The hook through which an alternative file system (a container format
// handled outside this library) claims paths: a registered creator makes a
// handler for a path it recognises; the file utilities and FStream ask for
// one when the system's files do not serve.
//
//   FileSystemFactory::Instance().Create(new MyCreator);   // once, at start-up
//   std::unique_ptr<IFileUtils> handler(FileSystemFactory::Instance().Get(path, false));
//   if (handler) handler->GetFileList(pattern, list, 0);
#ifndef KELM_FILES_FILE_SYSTEM_FACTORY_H_
#define KELM_FILES_FILE_SYSTEM_FACTORY_H_

#include <atomic>

class Collection;
class Stream;

// The handler of one path in an alternative file system. Each operation
// answers whether it succeeded.
class IFileUtils {
 public:
  virtual ~IFileUtils() = default;
  // Opens `path` with OpenStreamFile's mode bits and writes its contents
  // into `content` from the current position on. The handler keeps the
  // path as the file that Write stores into.
  virtual bool Open(const char* path, unsigned mode, Stream& content) = 0;
  // Stores the bytes of `data`, from its start to its size, at `offset` of
  // the opened file.
  virtual bool Write(unsigned long offset, Stream& data) = 0;
  virtual bool Exists(const char* path, bool directory) = 0;
  virtual bool Remove(const char* path) = 0;
  virtual bool Rename(const char* from, const char* to) = 0;
  // Adds the entries matching `pattern` to `list` as GetFileList does
  // (malloc'ed texts through the virtual Ins). Flags: 0x2 full paths,
  // 0x4 subdirectories too, 0x80 directories only.
  virtual bool GetFileList(const char* pattern, Collection& list, int flags) = 0;
};

class IFileUtilsCreator {
 public:
  virtual ~IFileUtilsCreator() = default;
  // A new handler for a path of the given kind (the path hook's answer, or
  // -1 without a hook), or null when the kind is not the creator's.
  virtual IFileUtils* Create(long long kind) = 0;
};

// One per process. The creator is set once at start-up; the calls may come
// from any thread.
class FileSystemFactory {
 public:
  // Classifies a path for the creator.
  using PathHook = long long (*)(const char* path, bool flag);

  static FileSystemFactory& Instance();

  // False for null. Otherwise the factory takes `creator` in place of the
  // previous one, which it does not release (the caller may still use it);
  // the last one is deleted with the factory.
  bool Create(IFileUtilsCreator* creator);
  // A new handler for `path` (the caller deletes it), or null for a null or
  // empty path, without a creator, or when the creator declines.
  IFileUtils* Get(const char* path, bool flag);
  // Installs (null: removes) the hook whose answer Get hands to the creator.
  void SetPathHook(PathHook hook);

 private:
  FileSystemFactory() = default;
  ~FileSystemFactory();

  std::atomic<IFileUtilsCreator*> creator_{nullptr};
  std::atomic<PathHook> hook_{nullptr};
};

#endif  // KELM_FILES_FILE_SYSTEM_FACTORY_H_
