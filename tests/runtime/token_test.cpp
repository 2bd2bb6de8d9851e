// Token table: record layout, the declaration grammar, interning identity.
#include <gtest/gtest.h>
#include <malloc.h>
#include <slrt/runtime/token.h>

#include <cstring>
#include <string>
#include <tuple>

#include "runtime/token_pvt.h"
#include "support/capture.h"

#if defined(__SANITIZE_ADDRESS__)
#define SLRT_TEST_ASAN 1
#else
#define SLRT_TEST_ASAN 0
#endif

namespace {

struct Codes {
  unsigned storageClass, type, count;
};

Codes codesOf(const TokenRecord* rec) {
  return {rec->storageClass, rec->type, rec->count};
}

}  // namespace

TEST(Token, HashValues) {
  EXPECT_EQ(hash(nullptr), 0u);
  EXPECT_EQ(hash(""), 0u);
  EXPECT_EQ(hash("a"), 97u);
  EXPECT_EQ(hash("ab"), 97u * 16 + 98);
  // 0xFF is -1 as a signed character: h = 0xFFFFFFFF, whose top nibble is
  // folded back in and cleared.
  EXPECT_EQ(hash("\xff"), 0x0FFFFF0Fu);
  // The fold keeps every hash below 2^28, however long the text.
  std::string s;
  for (int i = 0; i < 200; ++i) {
    s += static_cast<char>(33 + (i * 37) % 200);
    EXPECT_LT(hash(s.c_str()), 1u << 28) << s;
  }
}

TEST(Token, RecordLayoutReadThroughTheText) {
  const TokenRecord* rec = declare("layoutProbe", "vertex color [ 300 ]");
  ASSERT_NE(rec, nullptr);
  const char* t = rec->name();
  const unsigned char* b = reinterpret_cast<const unsigned char*>(t);
  EXPECT_EQ(reinterpret_cast<const char*>(rec), t - 14);
  EXPECT_EQ(b[-14], kTokColor);
  EXPECT_EQ(b[-13], kTokVertex);
  EXPECT_EQ(b[-12] | b[-11] << 8, 300);  // little-endian 16-bit count
  EXPECT_EQ(b[-6] | b[-5] << 8, 11);     // stored length
  EXPECT_EQ(b[-4], 0x96);
  EXPECT_EQ(b[-3], 0xF1);
  EXPECT_EQ(b[-2], 0x04);
  EXPECT_EQ(b[-1], 0x6B);
  EXPECT_STREQ(t, "layoutProbe");
  EXPECT_EQ(tokenType(t), kTokColor);
  EXPECT_EQ(tokenClass(t), kTokVertex);
  EXPECT_EQ(tokenCount(t), 300u);
  EXPECT_TRUE(isInterned(t));
  EXPECT_FALSE(isInterned("layoutProbe"));
  EXPECT_FALSE(isInterned(nullptr));
}

TEST(Token, RecognitionNeverLooksBehindA512ByteBoundary) {
  alignas(512) unsigned char buf[1024] = {};
  const unsigned char mark[4] = {0x96, 0xF1, 0x04, 0x6B};
  std::memcpy(buf + 508, mark, 4);
  EXPECT_FALSE(isInterned(buf + 512));  // offset 0: the mark is not even read
  std::memcpy(buf + 509, mark, 4);
  EXPECT_FALSE(isInterned(buf + 513));  // offsets 1..3 are refused as well
  std::memcpy(buf + 512, mark, 4);
  EXPECT_TRUE(isInterned(buf + 516));  // offset 4 is the first one accepted
  buf[513] = 0xF2;
  EXPECT_FALSE(isInterned(buf + 516));
}

TEST(Token, WellFormedDeclarations) {
  struct Case {
    const char* decl;
    Codes want;
  } cases[] = {
      {"float", {2, 1, 1}},
      {"varying point", {3, 2, 1}},
      {"facevertex float [ 2 ]", {5, 1, 2}},
      {"int", {2, 4, 1}},
      {"integer", {2, 4, 1}},
      {"float[2]", {2, 1, 2}},
      {" \tconstant\n string \t", {1, 5, 1}},
      {"vertex hpoint [70000]", {4, 8, 70000 & 0xFFFF}},  // count cut to 16 bits
      {"uniform matrix[0]", {2, 9, 0}},
      {"varying mpoint", {3, 10, 1}},
  };
  for (const Case& c : cases) {
    const TokenRecord* rec = declare("wellFormed", c.decl);
    ASSERT_NE(rec, nullptr) << c.decl;
    const Codes got = codesOf(rec);
    EXPECT_EQ(std::tie(got.storageClass, got.type, got.count),
              std::tie(c.want.storageClass, c.want.type, c.want.count))
        << c.decl;
  }
}

TEST(Token, MalformedDeclarationsChangeNothing) {
  const TokenRecord* before = declare("malformed", "varying color [3]");
  ASSERT_NE(before, nullptr);
  const size_t records = slrt_detail::tokenRecordCount();
  const char* bad[] = {"Float",
                       "uniform",
                       "float [",
                       "float [2] extra",
                       "",
                       "floats",
                       "uniform uniform float",
                       "uniformfloat",
                       "float [x]",
                       "float [2",
                       "[2] float",
                       "uniform Float",
                       "float []",
                       "   ",
                       "float ]",
                       "point [-1]"};
  for (const char* d : bad) {
    EXPECT_EQ(declare("malformed", d), nullptr) << d;
    EXPECT_EQ(declare("malformedNew", d), nullptr) << d;
  }
  const Codes c = codesOf(before);
  EXPECT_EQ(std::tie(c.storageClass, c.type, c.count), std::make_tuple(3u, 3u, 3u));
  EXPECT_EQ(slrt_detail::tokenRecordCount(), records);  // "malformedNew" never entered
}

TEST(Token, RedeclarationAndNullDeclaration) {
  TokenRecord* a = declare("redecl", "uniform float");
  TokenRecord* b = declare("redecl", kTokVarying, kTokPoint, 4);
  EXPECT_EQ(a, b);
  EXPECT_EQ(a->storageClass, kTokVarying);
  // Widths: class in a byte, count in two.
  declare("redecl", 0x1FF, 0x102, 0x12345);
  EXPECT_EQ(a->storageClass, 0xFFu);
  EXPECT_EQ(a->type, 0x02u);
  EXPECT_EQ(a->count, 0x2345u);
  EXPECT_EQ(declare("redecl", static_cast<const char*>(nullptr)), a);
  const Codes c = codesOf(a);
  EXPECT_EQ(c.storageClass + c.type + c.count, 0u);
}

TEST(Token, PromoteInternsOnceAndInternedNamesReturnAtOnce) {
  const size_t records = slrt_detail::tokenRecordCount();
  EXPECT_EQ(find("allocProbe"), nullptr);  // a miss enters nothing
  EXPECT_EQ(slrt_detail::tokenRecordCount(), records);
  char* p = promote(const_cast<char*>("allocProbe"));
  ASSERT_NE(p, nullptr);
  EXPECT_EQ(tokenType(p) + tokenClass(p) + tokenCount(p), 0u);
  std::string copy = "allocProbe";  // same text at another address
  EXPECT_EQ(promote(copy.c_str()), p);
  EXPECT_EQ(slrt_detail::tokenRecordCount(), records + 1);
  EXPECT_EQ(promote(static_cast<const char*>(nullptr)), nullptr);

  TokenRecord* rec = TokenRecord::fromName(p);
  const size_t allocations = slrt_detail::tokenAllocations();
#if !SLRT_TEST_ASAN
  const size_t heapInUse = mallinfo2().uordblks;
#endif
  EXPECT_EQ(promote(p), p);
  EXPECT_EQ(find(p), rec);
  EXPECT_EQ(declare(p, 3, 2, 1), rec);
  EXPECT_EQ(declare(p, const_cast<char*>("uniform color")), rec);
  EXPECT_EQ(confirm(p), rec);
#if !SLRT_TEST_ASAN
  EXPECT_EQ(mallinfo2().uordblks, heapInUse);
#endif
  EXPECT_EQ(slrt_detail::tokenAllocations(), allocations);
  EXPECT_EQ(rec->type, kTokColor);
}

TEST(Token, InlineDeclarations) {
  const size_t records = slrt_detail::tokenRecordCount();
  TokenRecord* kd = find("uniform float KdInline");
  ASSERT_NE(kd, nullptr);
  EXPECT_STREQ(kd->name(), "KdInline");
  EXPECT_EQ(kd->type, kTokFloat);
  EXPECT_EQ(slrt_detail::tokenRecordCount(), records + 1);  // only the name

  // The inline text is not itself entered, so it declares again every time.
  declare("KdInline", "varying color");
  EXPECT_EQ(find("uniform float KdInline"), kd);
  EXPECT_EQ(kd->type, kTokFloat);
  EXPECT_EQ(kd->storageClass, kTokUniform);
  EXPECT_EQ(find("facevertex point[3] KdInline"), kd);
  EXPECT_EQ(kd->count, 3u);

  EXPECT_EQ(find("a b "), nullptr);
  EXPECT_EQ(find("bogus x"), nullptr);
  EXPECT_EQ(find("x"), nullptr);
  // promote never fails: a malformed inline text is interned whole.
  const char* whole = promote("bogus KdInline");
  EXPECT_STREQ(whole, "bogus KdInline");
  EXPECT_EQ(tokenType(whole), 0u);
  EXPECT_EQ(promote("varying normal KdInline"), kd->name());
  EXPECT_EQ(kd->type, kTokNormal);
}

TEST(Token, ConfirmReportsUndeclaredTokens) {
  ErrorCapture capture;
  EXPECT_EQ(confirm("noSuchToken"), nullptr);
  EXPECT_EQ(capture.text(), "2|error: Invalid token for request. undeclared token \"noSuchToken\"");
  EXPECT_EQ(getErrorLast(), 41);

  capture.clear();
  EXPECT_NE(confirm("uniform float confirmed"), nullptr);
  EXPECT_TRUE(capture.lines().empty());
}
