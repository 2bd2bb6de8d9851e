// slrt: the token table.
//
// Parameter names are interned once for the life of the process: every
// distinct text gets one permanent copy whose address identifies it, so names
// are compared by address and their declaration (storage class, value type,
// array length) is read in constant time straight from the bytes in front of
// the interned text.
//
// An interned token is one heap block of length + 16 bytes:
//
//   offset  0        1        2..3      4..7      8..9     10..13    14..
//         +--------+--------+---------+---------+--------+---------+-----------+
//         | type   | class  | count   | next    | length | mark    | text \0   |
//         | uint8  | uint8  | uint16  | uint32  | int16  | 96 F1   |           |
//         |        |        |         |         |        | 04 6B   |           |
//         +--------+--------+---------+---------+--------+---------+-----------+
//                                                                   ^ interned name
//
// so, from an interned name t: type = t[-14], class = t[-13], count = the
// 16-bit value at t - 12, and the recognition mark is t[-4..-1].
//
// The `next` word links records of one hash bucket.  A 32-bit field cannot
// hold a 64-bit pointer, so it holds a record number instead: records are
// numbered from 1 in the order they are made, a side directory maps numbers
// to blocks, and 0 ends a chain.  The byte positions every consumer relies on
// stay where they are on LP64 and on 32-bit builds alike.
//
// Not thread-safe: the table belongs to the one shading thread.
#ifndef SLRT_RUNTIME_TOKEN_H
#define SLRT_RUNTIME_TOKEN_H

#include <slrt/export.h>

#include <cstddef>
#include <cstdint>
#include <cstring>

/// Value-type codes (0: undeclared).
enum : unsigned {
  kTokNoType = 0,
  kTokFloat = 1,
  kTokPoint = 2,
  kTokColor = 3,
  kTokInteger = 4,
  kTokString = 5,
  kTokVector = 6,
  kTokNormal = 7,
  kTokHpoint = 8,
  kTokMatrix = 9,
  kTokMpoint = 10,
};

/// Storage-class codes (0: undeclared).
enum : unsigned {
  kTokNoClass = 0,
  kTokConstant = 1,
  kTokUniform = 2,
  kTokVarying = 3,
  kTokVertex = 4,
  kTokFaceVertex = 5,
};

/// The interned record drawn above.  Only its first 14 bytes are fields; the
/// text follows at byte 14 and is reached through name().
struct TokenRecord {
  uint8_t type;           ///< value-type code
  uint8_t storageClass;   ///< storage-class code
  uint16_t count;         ///< array length: 1 for a scalar, 0 when undeclared
  uint32_t next;          ///< record number of the next record in the bucket
  int16_t length;         ///< characters in the name (cut to 16 bits)
  unsigned char mark[4];  ///< 0x96 0xF1 0x04 0x6B

  static constexpr size_t kTextOffset = 14;

  char* name() { return reinterpret_cast<char*>(this) + kTextOffset; }
  const char* name() const { return reinterpret_cast<const char*>(this) + kTextOffset; }
  /// The record of an interned name (no check: see isInterned()).
  static TokenRecord* fromName(const char* interned) {
    return reinterpret_cast<TokenRecord*>(const_cast<char*>(interned) - kTextOffset);
  }
};
static_assert(offsetof(TokenRecord, storageClass) == 1, "token record layout");
static_assert(offsetof(TokenRecord, count) == 2, "token record layout");
static_assert(offsetof(TokenRecord, next) == 4, "token record layout");
static_assert(offsetof(TokenRecord, length) == 8, "token record layout");
static_assert(offsetof(TokenRecord, mark) == 10, "token record layout");

/// Declaration readers for interned names: the bytes 14, 13 and 12 before the
/// text.  Only valid on a pointer that promote(), find() or declare() gave.
inline unsigned tokenType(const char* interned) {
  return static_cast<unsigned char>(interned[-14]);
}
inline unsigned tokenClass(const char* interned) {
  return static_cast<unsigned char>(interned[-13]);
}
inline unsigned tokenCount(const char* interned) {
  uint16_t n;
  std::memcpy(&n, interned - 12, sizeof n);
  return n;
}

/// One word of the declaration vocabularies: the word, its length and its
/// code.  The parser walks a vocabulary from the first entry to the last and
/// matches words as prefixes, which is why "integer" precedes "int".
struct TokenWord {
  const char* word;
  uint8_t length;
  uint8_t code;
};

/// Storage classes, in search order: uniform 2, varying 3, vertex 4,
/// constant 1, facevertex 5.
SLRT_API extern const TokenWord legal_details[5];
/// Value types, in search order: float 1, point 2, color 3, integer 4, int 4,
/// string 5, vector 6, normal 7, hpoint 8, matrix 9, mpoint 10.
SLRT_API extern const TokenWord legal_types[11];

/// String hash shared by every name table of the library: the ELF symbol hash
/// over the characters taken as signed values (bytes above 127 add a negative
/// amount).  null and "" hash to 0; "a" hashes to 97.
SLRT_API unsigned hash(const char* text);

/// True when p is an interned name: p mod 512 is above 3 and the four bytes
/// before p are the recognition mark.  The address test keeps the check from
/// reading before a 512-aligned address (and so before a page).  The check
/// reads memory it does not own, so it can be fooled by a text that happens
/// to carry the mark; the table's own entry points accept that.
SLRT_API bool isInterned(const void* p);

/// Declarations
/// ------------
/// declare(name, class, type, count): gives `name` the three codes and
/// returns its record, making the record when the name is new.  An interned
/// name is updated in place without a lookup.  A redeclaration always wins.
/// Class and type are cut to 8 bits, count to 16 bits.
///
/// declare(name, declaration): parses "[class] type [ '[' count ']' ]", with
/// class uniform when absent and count 1 when absent, lower-case words only,
/// and declares.  A null declaration declares the name with all codes 0.  A
/// malformed declaration returns null, reports nothing and leaves any earlier
/// declaration as it was.
///
/// Fallback: a null name returns null.
SLRT_API TokenRecord* declare(char* name, unsigned storageClass, unsigned type, unsigned count);
SLRT_API TokenRecord* declare(char* name, char* declaration);
inline TokenRecord* declare(const char* name, unsigned storageClass, unsigned type,
                            unsigned count) {
  return declare(const_cast<char*>(name), storageClass, type, count);
}
inline TokenRecord* declare(const char* name, const char* declaration) {
  return declare(const_cast<char*>(name), const_cast<char*>(declaration));
}

/// Lookup
/// ------
/// find(name): the record of `name`, or null.  An interned name returns at
/// once.  A text not in the table is read as an inline declaration "decl
/// name" split at its last blank: `name` is declared from `decl` and its
/// record returned (null when there is no blank, the blank ends the text, or
/// `decl` is malformed).  The whole text is never entered.
///
/// promote(name): the interned text of `name`: find(), else interned as an
/// undeclared token (codes 0).  Never fails for a text; null gives null.
///
/// confirm(name): find(); when that gives null, reports code 41 (bad token),
/// severity 2, "undeclared token \"<name>\"" and returns null.
SLRT_API TokenRecord* find(char* name);
SLRT_API char* promote(char* name);
SLRT_API TokenRecord* confirm(char* name);
inline TokenRecord* find(const char* name) {
  return find(const_cast<char*>(name));
}
inline const char* promote(const char* name) {
  return promote(const_cast<char*>(name));
}
inline TokenRecord* confirm(const char* name) {
  return confirm(const_cast<char*>(name));
}

#endif  // SLRT_RUNTIME_TOKEN_H
