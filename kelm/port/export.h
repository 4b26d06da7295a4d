// KELM_TEMPLATE_EXPORT marks the template instantiations that the library
// ships: `extern template class KELM_TEMPLATE_EXPORT X<n>;` in the header,
// `template class X<n>;` in one of the library's sources, which includes the
// header. The library then defines and exports every member of them, inline
// ones included, whatever its optimiser inlines, and clients link to those
// instead of instantiating their own.
#ifndef KELM_PORT_EXPORT_H_
#define KELM_PORT_EXPORT_H_

#if defined(_WIN32) && defined(KELM_BUILDING_LIBRARY)
#define KELM_TEMPLATE_EXPORT __declspec(dllexport)
#elif defined(_WIN32)
#define KELM_TEMPLATE_EXPORT __declspec(dllimport)
#else
#define KELM_TEMPLATE_EXPORT __attribute__((visibility("default")))
#endif

#endif  // KELM_PORT_EXPORT_H_
