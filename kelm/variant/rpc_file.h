// A file handed to or returned from a remote call: its name, identifier,
// size and a readable stream of its content. Copies share the stream.
#ifndef KELM_VARIANT_RPC_FILE_H_
#define KELM_VARIANT_RPC_FILE_H_

#include <cstdint>
#include <istream>
#include <memory>
#include <string>

namespace kelm {

class RpcFile {
 public:
  // No name or id, size 0, and an empty stream of its own.
  RpcFile();
  // Copies name, size and id; shares the stream, so reading through a copy
  // moves the position seen through the original.
  RpcFile(const RpcFile& other) = default;
  RpcFile& operator=(const RpcFile& other) = default;
  ~RpcFile();

  const std::string& Name() const { return name_; }
  void SetName(const std::string& name) { name_ = name; }
  const std::string& Id() const { return id_; }
  void SetId(const std::string& id) { id_ = id; }

  // The size given with the stream; not checked against the content.
  unsigned Size() const { return size_; }
  std::istream& Stream() const { return *stream_; }

  // Throws Exception for a null stream, changing nothing.
  void SetStream(std::shared_ptr<std::istream> stream, unsigned size);

 private:
  std::string name_;
  std::uint32_t size_;
  std::shared_ptr<std::istream> stream_;
  std::string id_;
};

}  // namespace kelm

#endif  // KELM_VARIANT_RPC_FILE_H_
