// Damaged and hostile map files: every one gives a report and a defined
// fallback, never a crash, an overrun or an unbounded allocation.
#include <gtest/gtest.h>
#include <slrt/texture/cache.h>
#include <slrt/texture/map.h>
#include <sys/resource.h>

#include <memory>

#include "texture/mapfile_util.h"

using maptest::MapFile;
using maptest::ReportLog;
using maptest::TempDir;

namespace {

// Caps the address space for the test's lifetime, so that a hostile file
// that slipped past the checks would fail to allocate instead of succeeding.
class MemoryCap {
 public:
  explicit MemoryCap(rlim_t bytes) {
    getrlimit(RLIMIT_AS, &fSaved);
    rlimit r = fSaved;
    if (r.rlim_cur == RLIM_INFINITY || r.rlim_cur > bytes) r.rlim_cur = bytes;
    fActive = setrlimit(RLIMIT_AS, &r) == 0;
  }
  ~MemoryCap() {
    if (fActive) setrlimit(RLIMIT_AS, &fSaved);
  }

 private:
  rlimit fSaved;
  bool fActive = false;
};

bool sanitized() {
#if defined(__SANITIZE_ADDRESS__)
  return true;
#else
  return false;
#endif
}

}  // namespace

TEST(HostileMaps, AbsurdLevelSizesRefused) {
  TempDir dir;
  struct Case {
    uint32_t w, h;
    const char* description;
    bool libtiffRefuses;  // the strip size overflows 64 bits before we look
  } cases[] = {
      {0xFFFFFFFFu, 0xFFFFFFFFu, "Plain single", true},
      {0x7FFFFFFFu, 0x7FFFFFFFu, "Plain single", false},
      {0x7FFFFFFFu, 0x7FFFFFFFu, "Plain all", false},  // 31 x 31 expected levels
      {0xFFFFFFFFu, 1, "Plain single", false},
      {300000, 300000, "Plain diagonal", false},
  };
  // Address-space caps do not mix with the sanitizers' shadow memory.
  std::unique_ptr<MemoryCap> cap(sanitized() ? nullptr : new MemoryCap(rlim_t(2) << 30));
  int n = 0;
  for (const Case& c : cases) {
    std::string path = dir.file("huge" + std::to_string(n++) + ".tqm");
    ASSERT_TRUE(maptest::rawGrey(c.w, c.h, c.description).write(path));
    ReportLog log;
    std::string name = path.substr(0, path.size() - 4);
    EXPECT_EQ(Map::find(name.c_str()), nullptr) << c.description;
    EXPECT_EQ(Map::find(name.c_str()), nullptr);
    std::string report = c.libtiffRefuses
                             ? "4|2|" + path + ": cannot open map file"
                             : "4|2|" + path + ": map level 0 of " + std::to_string(c.w) + " x " +
                                   std::to_string(c.h) + " pixels is too large";
    EXPECT_TRUE(log.has(report)) << log.text();
  }
}

TEST(HostileMaps, SilentOpenFailureIsReported) {
  TempDir dir;
  std::string path = dir.file("zero.tqm");
  ASSERT_TRUE(maptest::rawGrey(8, 8, "Plain single").write(path, 0));
  ReportLog log;
  EXPECT_EQ(Map::find(dir.file("zero").c_str()), nullptr);
  ASSERT_FALSE(log.lines().empty());
  // Whatever libtiff says, the file is named.
  EXPECT_NE(log.text().find(path), std::string::npos) << log.text();
}

TEST(HostileMaps, TruncatedFilesAndBadOffsets) {
  TempDir dir;
  MapFile f;
  f.description = "Plain diagonal";
  f.wraps = "periodic,periodic";
  f.levels = maptest::pyramid(128, 64);
  f.pixel = [](uint32_t l, uint32_t x, uint32_t y, uint16_t) { return uint8_t(l + x + y); };
  std::string whole = dir.file("whole.tqm");
  ASSERT_TRUE(maptest::writeMap(whole, f));
  FILE* fp = std::fopen(whole.c_str(), "rb");
  ASSERT_NE(fp, nullptr);
  std::fseek(fp, 0, SEEK_END);
  long size = std::ftell(fp);
  std::fclose(fp);

  // Cut the file everywhere interesting: no crash, a report whenever the map
  // is not complete, and whatever map comes back can be read from.
  for (long cut :
       {0L, 3L, 8L, 9L, 20L, 100L, size / 4, size / 2, size - 300, size - 40, size - 1}) {
    SCOPED_TRACE(cut);
    std::string path = dir.file("cut" + std::to_string(cut) + ".tqm");
    ASSERT_TRUE(maptest::truncateCopy(whole, path, cut));
    ReportLog log;
    Map* m = Map::find(path.substr(0, path.size() - 4).c_str());
    if (!m) {
      EXPECT_FALSE(log.lines().empty());
      continue;
    }
    for (unsigned l = 0; l < m->levelCount + 2u; ++l) {
      for (long r = -1; r < 3; ++r) m->gettile(uint16_t(l), r, 0);
    }
  }

  // A first directory pointing past the end of the file.
  std::string past = dir.file("past.tqm");
  ASSERT_TRUE(maptest::rawGrey(8, 8, "Plain single").write(past, 1 << 20));
  ReportLog log;
  EXPECT_EQ(Map::find(dir.file("past").c_str()), nullptr);
  EXPECT_NE(log.text().find(past), std::string::npos) << log.text();

  // A strip pointing past the end: the map opens, the tile read fails with a
  // report and the tile storage is still handed out.
  std::string strip = dir.file("strip.tqm");
  ASSERT_TRUE(maptest::rawGrey(8, 8, "Plain single", 1 << 20).write(strip));
  log.clear();
  Map* m = Map::find(dir.file("strip").c_str());
  if (m) {
    EXPECT_NE(m->gettile(0, 0, 0), nullptr);
  }
}

TEST(HostileMaps, NamesWithFormatsAndLongPaths) {
  TempDir dir;
  Map::mapPath(dir.path().c_str());
  ReportLog log;
  EXPECT_EQ(Map::find("a%s%n%d"), nullptr);
  EXPECT_EQ(log.text(), "0|2|a%s%n%d: map file not found in " + dir.path());

  // A name far longer than any buffer: reported, cut to the channel's length.
  log.clear();
  std::string longName(5000, 'q');
  EXPECT_EQ(Map::find(longName.c_str()), nullptr);
  ASSERT_EQ(log.lines().size(), 1u);
  EXPECT_LT(log.lines()[0].size(), 1100u);
  EXPECT_EQ(log.lines()[0].compare(0, 10, "0|2|qqqqqq"), 0);

  // A long search path with a "%" in it.
  std::string path = std::string(3000, '%') + ":" + std::string(3000, 'x') + ":" + dir.path();
  Map::mapPath(path.c_str());
  MapFile f;
  f.description = "Plain single";
  f.levels = {{8, 8}};
  ASSERT_TRUE(maptest::writeMap(dir.file("p%d.tqm"), f));
  Map* m = Map::find("p%d");
  ASSERT_NE(m, nullptr);
  EXPECT_EQ(std::string(m->path), dir.file("p%d.tqm"));
  Map::mapPath(".");
}
