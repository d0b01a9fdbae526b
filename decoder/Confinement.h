#pragma once

/// How the process that decodes a picture gives away what it does not need, before it reads the
/// first byte of that picture. Everything here ends the process where it does not succeed, but for
/// what a kernel may lack.
namespace korvane {

/// Bounds of one decoding. What is handed back is limited by kMaxDecodedBytes.
constexpr unsigned long kDecoderMemory = 650'000'000;  // address space, in bytes
constexpr unsigned long kDecoderSeconds = 5;           // of processor time

/// No new privileges, no core dump, no other process of the same user that could look inside; the
/// bounds above; few descriptors. Ends with its parent. Builds with a sanitizer have no bound of
/// memory, as they need all of the address space.
void limitProcess();

/// From now on files can only be read, and only what lies below /usr and where fonts and what is
/// known of them are kept; nothing can be connected to. False where the kernel has no Landlock.
bool confineFiles();

/// From now on only the system calls that decoding needs can be made, and any other ends the
/// process; files can be opened only if `mayOpen`. Memory that was written cannot be executed.
/// Builds with a sanitizer leave this out.
void confineCalls(bool mayOpen);

}  // namespace korvane
