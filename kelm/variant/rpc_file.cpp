#include "kelm/variant/rpc_file.h"

#include <sstream>
#include <utility>

#include "kelm/frame/exceptions.h"

namespace kelm {

RpcFile::RpcFile() : size_(0), stream_(std::make_shared<std::istringstream>()) {}

RpcFile::~RpcFile() = default;

void RpcFile::SetStream(std::shared_ptr<std::istream> stream, unsigned size) {
  if (!stream) throw Exception("В RpcFile передан нулевой указатель");
  stream_ = std::move(stream);
  size_ = size;
}

}  // namespace kelm
