// stamp-version OUT a.b.c.d — writes a program file carrying that version.
#include <cstdio>
#include <string>

#include "tests/support/VersionedFile.h"

int main(int argc, char** argv) {
  unsigned a = 0, b = 0, c = 0, d = 0;
  if (argc != 3 || std::sscanf(argv[2], "%u.%u.%u.%u", &a, &b, &c, &d) != 4 || a > 65535 ||
      b > 65535 || c > 65535 || d > 65535) {
    std::fprintf(stderr, "usage: stamp-version OUT major.minor.release.build\n");
    return 2;
  }
  rotalis::test::WriteVersionedFile(argv[1], std::uint16_t(a), std::uint16_t(b), std::uint16_t(c),
                                    std::uint16_t(d));
  return 0;
}
