/* A media host that knows the plug-in by its entry points' names alone: no header, no linking.
 *   host LIBRARY */
#include <dlfcn.h>
#include <stdint.h>
#include <stdio.h>
#include <string.h>

static void* library;

static int find(const char* name, void* function) {
  void* address = dlsym(library, name);
  if (address == NULL) printf("%s is missing\n", name);
  memcpy(function, &address, sizeof address);
  return address != NULL;
}

int main(int argc, char** argv) {
  static int16_t in[3840], out[8880];
  static uint8_t bytes[320];
  uint16_t (*flavors)(void);
  const void* (*property)(uint16_t, uint16_t, uint16_t*);
  uint32_t (*set_flavor)(uint16_t);
  uint32_t (*init_encoder)(uint32_t, uint32_t, uint32_t*, uint32_t*);
  void (*encode)(const int16_t*, uint8_t*);
  void (*free_encoder)(void);
  int32_t (*init_decoder)(void);
  int32_t (*decode)(const uint8_t*, uint16_t, int16_t*, uint16_t*, uint32_t);
  void (*free_decoder)(void);
  uint16_t flavor, length = 0;
  if (argc != 2) return 2;
  library = dlopen(argv[1], RTLD_NOW | RTLD_LOCAL);
  if (library == NULL) {
    printf("%s\n", dlerror());
    return 1;
  }
  if (!find("GetNumberOfFlavors", &flavors) || !find("GetFlavorProperty", &property) ||
      !find("SetFlavor", &set_flavor) || !find("InitEncoder", &init_encoder) ||
      !find("Encode", &encode) || !find("FreeEncoder", &free_encoder) ||
      !find("InitDecoder", &init_decoder) || !find("Decode", &decode) ||
      !find("FreeDecoder", &free_decoder)) {
    return 1;
  }
  for (flavor = 0; flavor < flavors(); ++flavor) {
    uint32_t samples = 0, size = 0;
    if (property(flavor, 0, &length) == NULL || length == 0) return 1;
    init_decoder();
    set_flavor(flavor);
    init_encoder(8000, 2, &samples, &size);
    encode(in, bytes);
    if (decode(bytes, (uint16_t)size, out, &length, 0xffffffffu) != 0) return 1;
    printf("%u: %u samples, %u bytes, %u samples\n", flavor, samples, size, length / 2u);
    free_encoder();
    free_decoder();
  }
  return dlclose(library);
}
