// slrt: the token table.
//
// Records live in heap blocks that are never freed or moved, chained per
// bucket through 32-bit record numbers (see token.h).  Every piece of state
// here is plain zero-initialised data, so the table works even when another
// translation unit interns names during its own static initialisation.
#include <slrt/runtime/error.h>
#include <slrt/runtime/token.h>

#include <cctype>
#include <cstdint>
#include <cstring>

#include "runtime/token_pvt.h"

const TokenWord legal_details[5] = {
    {"uniform", 7, kTokUniform},   {"varying", 7, kTokVarying},        {"vertex", 6, kTokVertex},
    {"constant", 8, kTokConstant}, {"facevertex", 10, kTokFaceVertex},
};

// "integer" must precede "int": words are matched as prefixes of the text.
const TokenWord legal_types[11] = {
    {"float", 5, kTokFloat},     {"point", 5, kTokPoint},   {"color", 5, kTokColor},
    {"integer", 7, kTokInteger}, {"int", 3, kTokInteger},   {"string", 6, kTokString},
    {"vector", 6, kTokVector},   {"normal", 6, kTokNormal}, {"hpoint", 6, kTokHpoint},
    {"matrix", 6, kTokMatrix},   {"mpoint", 6, kTokMpoint},
};

namespace {

constexpr unsigned char kMark[4] = {0x96, 0xF1, 0x04, 0x6B};

// Bucket heads and the record directory.  Record number n (from 1) is
// gDirectory[n - 1]; 0 ends a chain.
uint32_t gBuckets[slrt_detail::kTokenBuckets];
TokenRecord** gDirectory;
uint32_t gRecordCount;
uint32_t gDirectoryCapacity;
size_t gAllocations;

unsigned bucketOf(const char* name) {
  return hash(name) % slrt_detail::kTokenBuckets;
}

// Stored lengths are cut to 16 bits, so equal stored lengths do not prove
// equal texts: the byte comparison runs to the terminator and cannot read
// past either text.
int16_t storedLength(size_t len) {
  return static_cast<int16_t>(static_cast<uint16_t>(len));
}

TokenRecord* lookup(const char* name, size_t len, unsigned bucket) {
  const int16_t want = storedLength(len);
  for (uint32_t n = gBuckets[bucket]; n != 0;) {
    TokenRecord* rec = gDirectory[n - 1];
    if (rec->length == want && std::strcmp(rec->name(), name) == 0) return rec;
    n = rec->next;
  }
  return nullptr;
}

void growDirectory() {
  if (gDirectoryCapacity == UINT32_MAX) errorNewHandler();  // record numbers exhausted
  uint32_t capacity = gDirectoryCapacity ? gDirectoryCapacity : 256;
  capacity = capacity > UINT32_MAX / 2 ? UINT32_MAX : capacity * 2;
  // Exhaustion is left to the free store's new-handler, like every other
  // allocation of the run-time.
  TokenRecord** grown = new TokenRecord*[capacity];
  ++gAllocations;
  if (gRecordCount) std::memcpy(grown, gDirectory, gRecordCount * sizeof *grown);
  delete[] gDirectory;
  gDirectory = grown;
  gDirectoryCapacity = capacity;
}

TokenRecord* makeRecord(const char* name, size_t len, unsigned bucket) {
  if (gRecordCount == gDirectoryCapacity) growDirectory();
  char* block = new char[len + 16];
  ++gAllocations;
  TokenRecord* rec = reinterpret_cast<TokenRecord*>(block);
  rec->type = 0;
  rec->storageClass = 0;
  rec->count = 0;
  rec->length = storedLength(len);
  std::memcpy(rec->mark, kMark, sizeof kMark);
  std::memcpy(rec->name(), name, len + 1);
  block[len + 15] = 0;  // the spare last byte, so the whole block is defined
  rec->next = gBuckets[bucket];
  gDirectory[gRecordCount++] = rec;
  gBuckets[bucket] = gRecordCount;
  return rec;
}

TokenRecord* intern(const char* name) {
  if (isInterned(name)) return TokenRecord::fromName(name);
  const size_t len = std::strlen(name);
  const unsigned bucket = bucketOf(name);
  TokenRecord* rec = lookup(name, len, bucket);
  return rec ? rec : makeRecord(name, len, bucket);
}

TokenRecord* setCodes(TokenRecord* rec, unsigned storageClass, unsigned type, unsigned count) {
  rec->type = static_cast<uint8_t>(type);
  rec->storageClass = static_cast<uint8_t>(storageClass);
  rec->count = static_cast<uint16_t>(count);
  return rec;
}

// Character classes of the default locale, applied to the character as a
// signed value (the C library's tables accept -128..255).
bool isSpace(char c) {
  return std::isspace(static_cast<signed char>(c)) != 0;
}
bool isLower(char c) {
  return std::islower(static_cast<signed char>(c)) != 0;
}
bool isDigit(char c) {
  return std::isdigit(static_cast<signed char>(c)) != 0;
}

struct Declaration {
  unsigned storageClass = kTokUniform;
  unsigned type = 0;
  unsigned count = 1;
};

// Parses the declaration text [p, end).  The range form lets an inline
// declaration ("uniform float Kd") be parsed where it stands, up to its last
// blank, instead of being copied out first; the result is the same.
class DeclarationParser {
 public:
  DeclarationParser(const char* begin, const char* end) : fP(begin), fEnd(end) {}

  bool parse(Declaration* out) {
    skipSpace();
    if (!isLower(peek())) return false;
    if (const TokenWord* w = match(legal_details, 5)) {
      out->storageClass = w->code;
      fP += w->length;
      if (!isSpace(peek())) return false;
      skipSpace();
      if (!isLower(peek())) return false;
    }
    const TokenWord* t = match(legal_types, 11);
    if (!t) return false;
    out->type = t->code;
    fP += t->length;  // no word boundary required: "float[2]" is fine
    skipSpace();
    if (atEnd()) return true;
    if (peek() != '[') return false;
    ++fP;
    skipSpace();
    if (!isDigit(peek())) return false;
    // Unsigned arithmetic wraps; the stored count keeps the low 16 bits,
    // which wrapping at 32 bits does not disturb.
    unsigned count = 0;
    while (isDigit(peek())) count = count * 10u + static_cast<unsigned>(*fP++ - '0');
    skipSpace();
    if (peek() != ']') return false;
    ++fP;
    skipSpace();
    if (!atEnd()) return false;
    out->count = count;
    return true;
  }

 private:
  bool atEnd() const { return fP >= fEnd; }
  char peek() const { return atEnd() ? '\0' : *fP; }
  void skipSpace() {
    while (!atEnd() && isSpace(*fP)) ++fP;
  }
  const TokenWord* match(const TokenWord* words, int n) const {
    const char c = peek();
    for (int i = 0; i < n; ++i) {
      const TokenWord& w = words[i];
      if (w.word[0] == c && static_cast<size_t>(fEnd - fP) >= w.length &&
          std::memcmp(fP, w.word, w.length) == 0)
        return &w;
    }
    return nullptr;
  }

  const char* fP;
  const char* fEnd;
};

TokenRecord* declareRange(const char* name, const char* begin, const char* end) {
  Declaration d;
  if (!DeclarationParser(begin, end).parse(&d)) return nullptr;
  return setCodes(intern(name), d.storageClass, d.type, d.count);
}

// Steps 2 and 3 of find() for a text known not to be interned.
TokenRecord* findText(const char* name, size_t len, unsigned bucket) {
  if (TokenRecord* rec = lookup(name, len, bucket)) return rec;
  const char* blank = std::strrchr(name, ' ');
  if (!blank || blank[1] == '\0') return nullptr;
  return declareRange(blank + 1, name, blank);
}

}  // namespace

namespace slrt_detail {
size_t tokenAllocations() {
  return gAllocations;
}
size_t tokenRecordCount() {
  return gRecordCount;
}
}  // namespace slrt_detail

unsigned hash(const char* text) {
  if (!text) return 0;
  uint32_t h = 0;
  for (const char* p = text; *p; ++p) {
    // Signed characters: a byte above 127 adds a negative amount.
    h = (h << 4) + static_cast<uint32_t>(static_cast<int32_t>(static_cast<signed char>(*p)));
    if (const uint32_t g = h & 0xF0000000u) h ^= (g >> 24) ^ g;
  }
  return h;
}

// This reads the four bytes before whatever pointer it is given, which is
// exactly what the address sanitizer forbids; it is the one function of the
// library exempted from it, and it must not be inlined into an instrumented
// caller.
__attribute__((no_sanitize_address, noinline)) bool isInterned(const void* p) {
  const uintptr_t address = reinterpret_cast<uintptr_t>(p);
  if ((address & 511u) <= 3) return false;
  const unsigned char* before = static_cast<const unsigned char*>(p) - 4;
  return before[0] == kMark[0] && before[1] == kMark[1] && before[2] == kMark[2] &&
         before[3] == kMark[3];
}

TokenRecord* declare(char* name, unsigned storageClass, unsigned type, unsigned count) {
  if (!name) return nullptr;
  return setCodes(intern(name), storageClass, type, count);
}

TokenRecord* declare(char* name, char* declaration) {
  if (!name) return nullptr;
  if (!declaration) return setCodes(intern(name), 0, 0, 0);
  return declareRange(name, declaration, declaration + std::strlen(declaration));
}

TokenRecord* find(char* name) {
  if (!name) return nullptr;
  if (isInterned(name)) return TokenRecord::fromName(name);
  return findText(name, std::strlen(name), bucketOf(name));
}

char* promote(char* name) {
  if (!name) return nullptr;
  if (isInterned(name)) return name;
  const size_t len = std::strlen(name);
  const unsigned bucket = bucketOf(name);
  if (TokenRecord* rec = findText(name, len, bucket)) return rec->name();
  // Not found and not a valid inline declaration: the whole text becomes an
  // undeclared token.  findText declared nothing, so the bucket is unchanged.
  return makeRecord(name, len, bucket)->name();
}

TokenRecord* confirm(char* name) {
  TokenRecord* rec = find(name);
  if (!rec) error(kErrBadToken, kSevError, "undeclared token \"%s\"", name ? name : "(null)");
  return rec;
}
