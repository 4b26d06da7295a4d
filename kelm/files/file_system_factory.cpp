#include "kelm/files/file_system_factory.h"

FileSystemFactory& FileSystemFactory::Instance() {
  static FileSystemFactory factory;
  return factory;
}

FileSystemFactory::~FileSystemFactory() { delete creator_.load(); }

bool FileSystemFactory::Create(IFileUtilsCreator* creator) {
  if (creator == nullptr) return false;
  creator_.store(creator);
  return true;
}

IFileUtils* FileSystemFactory::Get(const char* path, bool flag) {
  IFileUtilsCreator* creator = creator_.load();
  if (path == nullptr || *path == '\0' || creator == nullptr) return nullptr;
  const PathHook hook = hook_.load();
  return creator->Create(hook != nullptr ? hook(path, flag) : -1);
}

void FileSystemFactory::SetPathHook(PathHook hook) { hook_.store(hook); }
