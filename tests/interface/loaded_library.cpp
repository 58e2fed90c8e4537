// The plug-in as a host that loads it at run time meets it: no header, nothing linked.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <string>
#include <vector>

#include "support/sanitizers.h"
#include "support/signals.h"

#if QUEL_SANITIZED_ADDRESS
#include <sanitizer/lsan_interface.h>
#endif

namespace quel {
namespace {

constexpr const char* library_file = QUEL_LIBRARY;

using Bytes = std::vector<std::uint8_t>;

struct Plugin {
  explicit Plugin(void* library) : handle(library) {
    find("SetFlavor", SetFlavor);
    find("GetFlavorProperty", GetFlavorProperty);
    find("InitEncoder", InitEncoder);
    find("Encode", Encode);
    find("InitDecoder", InitDecoder);
    find("Decode", Decode);
  }
  template <typename Function>
  void find(const char* name, Function& function) {
    void* const address = dlsym(handle, name);
    if (address == nullptr) std::abort();
    std::memcpy(&function, &address, sizeof address);
  }

  void* handle;
  std::uint32_t (*SetFlavor)(std::uint16_t);
  const void* (*GetFlavorProperty)(std::uint16_t, std::uint16_t, std::uint16_t*);
  std::uint32_t (*InitEncoder)(std::uint32_t, std::uint32_t, std::uint32_t*, std::uint32_t*);
  void (*Encode)(const std::int16_t*, std::uint8_t*);
  std::int32_t (*InitDecoder)();
  std::int32_t (*Decode)(const std::uint8_t*, std::uint16_t, std::int16_t*, std::uint16_t*,
                         std::uint32_t);
};

Plugin load() {
  void* const library = dlopen(library_file, RTLD_NOW | RTLD_LOCAL);
  if (library == nullptr) std::abort();
  return Plugin(library);
}

bool is_loaded() {
  std::ifstream maps("/proc/self/maps");
  if (!maps) std::abort();
  for (std::string line; std::getline(maps, line);) {
    if (line.find("libquelcodec") != std::string::npos) return true;
  }
  return false;
}

// Flavor 3's predictors go on over InitEncoder, so that only a library at load codes like this.
Bytes wideband_call(const Plugin& plugin) {
  std::uint32_t samples = 0, size = 0;
  plugin.SetFlavor(3);
  plugin.InitEncoder(16000, 2, &samples, &size);
  Bytes bytes(size);
  plugin.Encode(test::speech_like_pcm(static_cast<int>(samples), 1, 16000.0).data(), bytes.data());
  return bytes;
}

TEST(LoadedLibrary, IsGoneOnceUnloadedAndStartsAfreshWhenLoadedAgain) {
  ASSERT_FALSE(is_loaded());
  Bytes first;
  for (int time = 0; time < 3; ++time) {
    SCOPED_TRACE(time);
    const Plugin plugin = load();
    EXPECT_TRUE(is_loaded());
    std::int16_t out[8880];
    std::uint16_t length = 4711;
    const Bytes nothing(20);
    plugin.InitDecoder();
    EXPECT_EQ(plugin.Decode(nothing.data(), 20, out, &length, 1), -1);  // no flavor is selected
    const Bytes bytes = wideband_call(plugin);
    if (time == 0) first = bytes;
    EXPECT_EQ(bytes, first);
    EXPECT_NE(wideband_call(plugin), first);
    plugin.InitDecoder();
    EXPECT_EQ(plugin.Decode(bytes.data(), 320, out, &length, ~0u), 0);
    EXPECT_EQ(length, 2 * 2560);
    {
#if QUEL_SANITIZED_ADDRESS
      // The property object and its last result are never freed; unloading loses them.
      const __lsan::ScopedDisabler never_freed;
#endif
      ASSERT_NE(plugin.GetFlavorProperty(3, 4, &length), nullptr);
    }
    EXPECT_EQ(dlclose(plugin.handle), 0);
    EXPECT_EQ(dlopen(library_file, RTLD_NOW | RTLD_NOLOAD), nullptr);
    EXPECT_FALSE(is_loaded());
  }
}

// A handler that was registered before the library was loaded runs after the library's own
// destructors, if it has any.
const Plugin* at_exit = nullptr;
const char* name_before = nullptr;

void ask_for_a_name() {
  std::uint16_t length = 0;
  if (std::strcmp(name_before, "8.5 Kbps Voice") != 0) std::_Exit(3);
  const void* const name = at_exit->GetFlavorProperty(2, 8, &length);
  if (name == nullptr || length != 13 || std::memcmp(name, "5 Kbps Voice", 13) != 0) std::_Exit(4);
}

TEST(LoadedLibrary, AnswersWhileTheProcessExits) {
  const auto host = [] {
    std::atexit(ask_for_a_name);
    at_exit = new Plugin(load());  // lives as long as the handler
    std::uint16_t length = 0;
    name_before = static_cast<const char*>(at_exit->GetFlavorProperty(1, 8, &length));
    std::exit(0);
  };
  EXPECT_EXIT(host(), ::testing::ExitedWithCode(0), "");
}

}  // namespace
}  // namespace quel
