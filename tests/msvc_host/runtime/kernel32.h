#pragma once

// The few functions of the system that these programs call; they are built without any system
// header.

#include <stddef.h>
#include <stdint.h>

extern "C" {
[[noreturn]] __declspec(dllimport) void ExitProcess(uint32_t code);
__declspec(dllimport) void* GetStdHandle(uint32_t which);
__declspec(dllimport) int WriteFile(void* file, const void* bytes, uint32_t size, uint32_t* written,
                                    void* overlapped);
__declspec(dllimport) int ReadFile(void* file, void* bytes, uint32_t size, uint32_t* read,
                                   void* overlapped);
__declspec(dllimport) void* CreateFileW(const wchar_t* name, uint32_t access, uint32_t share,
                                        void* security, uint32_t creation, uint32_t flags,
                                        void* pattern);
__declspec(dllimport) int CreateDirectoryW(const wchar_t* name, void* security);
__declspec(dllimport) int DeleteFileW(const wchar_t* name);
__declspec(dllimport) void* GetProcessHeap();
__declspec(dllimport) void* HeapAlloc(void* heap, uint32_t flags, size_t size);
__declspec(dllimport) void* HeapReAlloc(void* heap, uint32_t flags, void* block, size_t size);
__declspec(dllimport) int HeapFree(void* heap, uint32_t flags, void* block);
__declspec(dllimport) void* LoadLibraryW(const wchar_t* name);
__declspec(dllimport) void* GetModuleHandleW(const wchar_t* name);
__declspec(dllimport) int FreeLibrary(void* module);
__declspec(dllimport) void* GetProcAddress(void* module, const char* name);
__declspec(dllimport) uint32_t GetModuleFileNameW(void* module, wchar_t* name, uint32_t size);
__declspec(dllimport) uint32_t GetLastError();
__declspec(dllimport) uint32_t GetCurrentThreadId();
__declspec(dllimport) void* CreateThread(void* security, size_t stack, uint32_t (*body)(void*),
                                         void* argument, uint32_t flags, uint32_t* id);
__declspec(dllimport) uint32_t WaitForSingleObject(void* object, uint32_t milliseconds);
__declspec(dllimport) void* CreateEventW(void* security, int manual_reset, int set,
                                         const wchar_t* name);
__declspec(dllimport) int SetEvent(void* event);
__declspec(dllimport) int CloseHandle(void* object);
__declspec(dllimport) void Sleep(uint32_t milliseconds);
__declspec(dllimport) uint64_t GetTickCount64();
__declspec(dllimport) void AcquireSRWLockExclusive(void** lock);
__declspec(dllimport) void ReleaseSRWLockExclusive(void** lock);
}

inline constexpr uint32_t infinite = 0xffffffff;

// Of CreateFileW.
inline constexpr uint32_t generic_read = 0x80000000;
inline constexpr uint32_t generic_write = 0x40000000;
inline constexpr uint32_t share_all = 7;
inline constexpr uint32_t create_always = 2;
inline constexpr uint32_t open_existing = 3;

struct exception_record {
  uint32_t code;
  uint32_t flags;
  exception_record* nested;
  void* address;
};

struct exception_pointers {
  exception_record* record;
  void* context;
};

extern "C" __declspec(dllimport) void* SetUnhandledExceptionFilter(
    int32_t (*filter)(exception_pointers* fault));
