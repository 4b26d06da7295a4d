// Path conventions of the platform.
#ifndef KELM_PORT_PATH_H_
#define KELM_PORT_PATH_H_

namespace kelm::port {

// The separator the library composes paths with. Both '\' and '/' are
// accepted wherever a path is split.
#ifdef _WIN32
inline constexpr char kPathSeparator = '\\';
#else
inline constexpr char kPathSeparator = '/';
#endif

inline constexpr bool IsPathSeparator(char c) { return c == '\\' || c == '/'; }

}  // namespace kelm::port

#endif  // KELM_PORT_PATH_H_
