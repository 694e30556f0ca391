#pragma once
// QDX_EXPORT marks what the shared library shows its hosts: the classes and
// functions declared under include/qdx/. A shared build compiles everything
// else hidden, so internals cannot be linked against, nor clash with the
// host's own symbols; in the static library the mark changes nothing.
#if defined(__GNUC__) || defined(__clang__)
#define QDX_EXPORT __attribute__((visibility("default")))
#else
#define QDX_EXPORT
#endif
