#include "kelm/variant/rpc_file.h"

#include <sstream>
#include <utility>

#include "kelm/frame/exceptions.h"

namespace kelm {

RpcFile::RpcFile() : mSize(0), mStream(std::make_shared<std::istringstream>()) {}

RpcFile::~RpcFile() = default;

void RpcFile::SetStream(std::shared_ptr<std::istream> stream, unsigned size) {
  if (!stream) throw Exception("В RpcFile передан нулевой указатель");
  mStream = std::move(stream);
  mSize = size;
}

}  // namespace kelm
