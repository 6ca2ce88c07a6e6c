#include <gtest/gtest.h>

#include <limits>

#include "host/exception.hpp"
#include "host/variant.hpp"

namespace {

TEST(Variant, ConvertsBetweenKinds) {
  EXPECT_EQ(Variant("12").AsInteger(), 12);
  EXPECT_DOUBLE_EQ(Variant("7,5").AsFloat(), 7.5);
  EXPECT_EQ(Variant(7.5).AsString(), "7,5");
  EXPECT_EQ(Variant(int64_t{5102}).AsString(), "5102");
  EXPECT_EQ(Variant().AsString(), "");
  EXPECT_EQ(Variant().AsInteger(), 0);
  EXPECT_TRUE(Variant().IsNull());
  EXPECT_EQ(Variant::FromDateTime(EncodeDate(2026, 1, 2)).AsString(), "02/01/2026");
  EXPECT_THROW(Variant("x").AsInteger(), EConvertError);
  EXPECT_THROW(Variant("x").AsFloat(), EConvertError);
}

TEST(Variant, AssignStringReusesTheTextItHolds) {
  Variant v(int64_t{7});
  v.AssignString("um texto de mais de quinze letras");
  ASSERT_EQ(v.GetKind(), Variant::Kind::String);
  EXPECT_EQ(v.StringRef(), "um texto de mais de quinze letras");
  const char* buffer = v.StringRef().data();
  v.AssignString("outro texto, mais curto");
  EXPECT_EQ(v.StringRef(), "outro texto, mais curto");
  EXPECT_EQ(v.StringRef().data(), buffer) << "a shorter text goes into the same buffer";
  v.AssignString("");
  EXPECT_EQ(v.AsString(), "");
  EXPECT_FALSE(v.IsNull()) << "an empty text is not null";
}

// A copy takes the other's kind and value whatever this one held; a text copied over a text
// keeps this one's buffer.
TEST(Variant, ACopyTakesTheOthersKindAndValue) {
  const std::vector<Variant> values = {
      Variant(),     Variant(int64_t{-3}),
      Variant(2.5),  Variant("um texto de mais de quinze letras"),
      Variant(true), Variant::FromDateTime(EncodeDate(2026, 1, 2))};
  for (const Variant& from : values) {
    for (const Variant& before : values) {
      Variant to = before;
      to = from;
      EXPECT_EQ(to, from) << before.AsString() << " <- " << from.AsString();
      EXPECT_EQ(to.GetKind(), from.GetKind());
    }
  }
  Variant text("outro texto de mais de quinze letras");
  const char* buffer = text.StringRef().data();
  text = values[3];
  EXPECT_EQ(text.StringRef().data(), buffer);
  text = text;
  EXPECT_EQ(text, values[3]) << "a text copied over itself";
}

TEST(Variant, AnEmptyTextEmptiesAFieldOfAnotherType) {
  for (TFieldType type :
       {TFieldType::Integer, TFieldType::Float, TFieldType::DateTime, TFieldType::Boolean}) {
    EXPECT_TRUE(VarAsType(Variant(""), type).IsNull());
  }
  EXPECT_EQ(VarAsType(Variant(""), TFieldType::String), Variant(""));
  EXPECT_THROW(VarAsType(Variant(" "), TFieldType::Integer), EConvertError);
}

TEST(FloatToStr, FifteenSignificantDigitsWithLocaleDecimal) {
  EXPECT_EQ(FloatToStr(18), "18");
  EXPECT_EQ(FloatToStr(1234.56), "1234,56");
  EXPECT_EQ(FloatToStr(0.1 + 0.2), "0,3");
  EXPECT_EQ(FloatToStr(123456789012), "123456789012");
  EXPECT_EQ(FloatToStr(1.5e15), "1,5E15");
  EXPECT_EQ(FloatToStr(-2.5e-7), "-2,5E-7");
  EXPECT_EQ(FloatToStr(1e-5), "1E-5");
}

TEST(FloatToStr, AppendedAfterTextThatIsLeftAsItIs) {
  std::string text = "5.102 ";
  AppendFloatToStr(1.65, text);
  EXPECT_EQ(text, "5.102 1,65");
  AppendFloatToStr(-std::numeric_limits<double>::infinity(), text);
  AppendFloatToStr(std::numeric_limits<double>::quiet_NaN(), text);
  EXPECT_EQ(text, "5.102 1,65-INFNAN");
}

}  // namespace
