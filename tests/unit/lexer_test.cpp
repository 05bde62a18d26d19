// The lexer: token boundaries, number and string literals, comments, the
// '-' rule, line pieces and the token length cut.
#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "compile_helpers.h"

namespace setup::testing {
namespace {

using Tokens = std::vector<std::pair<int, std::string>>;

class LexerTest : public CompilerTest {};

TEST_F(LexerTest, MinusBeginsANumberOnlyAfterAnOpeningParenthesis) {
  EXPECT_EQ(Lex("x=-1"),
            (Tokens{{TK_IDENT, "x"}, {TK_ASSIGN, "="}, {TK_MINUS, "-"}, {TK_NUMBER, "1"}}));
  EXPECT_EQ(Lex("(-1)"), (Tokens{{TK_LPAREN, "("}, {TK_NUMBER, "-1"}, {TK_RPAREN, ")"}}));
  EXPECT_EQ(Lex("f(2,-1)"), (Tokens{{TK_IDENT, "f"},
                                    {TK_LPAREN, "("},
                                    {TK_NUMBER, "2"},
                                    {TK_COMMA, ","},
                                    {TK_MINUS, "-"},
                                    {TK_NUMBER, "1"},
                                    {TK_RPAREN, ")"}}));
  EXPECT_EQ(Lex("( -x"), (Tokens{{TK_LPAREN, "("}, {TK_MINUS, "-"}, {TK_IDENT, "x"}}));
  EXPECT_EQ(Lex("a-=1"), (Tokens{{TK_IDENT, "a"}, {TK_MINUS_ASSIGN, "-="}, {TK_NUMBER, "1"}}));
}

TEST_F(LexerTest, NumberTextTakesHexLettersAndOneX) {
  EXPECT_EQ(Lex("0x1F 12AB 1x 0x 00x1 1e5"), (Tokens{{TK_NUMBER, "0x1F"},
                                                     {TK_NUMBER, "12AB"},
                                                     {TK_NUMBER, "1"},
                                                     {TK_IDENT, "x"},
                                                     {TK_NUMBER, "0x"},
                                                     {TK_NUMBER, "00"},
                                                     {TK_IDENT, "x1"},
                                                     {TK_NUMBER, "1e5"}}));
  EXPECT_EQ(Lex("(-0x10"), (Tokens{{TK_LPAREN, "("}, {TK_NUMBER, "-0x10"}}));
}

TEST(TextToNum, DecimalHexSignsAndWrapAround) {
  EXPECT_EQ(TextToNum("0x1F"), 31);
  EXPECT_EQ(TextToNum("-0x10"), -16);
  EXPECT_EQ(TextToNum("0x"), 0);
  EXPECT_EQ(TextToNum("12AB"), 12);
  EXPECT_EQ(TextToNum(" \t\n+42"), 42);
  EXPECT_EQ(TextToNum("-2147483648"), INT32_MIN);
  EXPECT_EQ(TextToNum("2147483648"), INT32_MIN);  // wraps, no overflow report
  EXPECT_EQ(TextToNum("4294967297"), 1);
  EXPECT_EQ(TextToNum("0xFFFFFFFF"), -1);
  EXPECT_EQ(TextToNum("0XaB"), 171);
  EXPECT_EQ(TextToNum("abc"), 0);
  EXPECT_EQ(TextToNum(""), 0);
}

TEST_F(LexerTest, StringLiteralsHaveNoEscapesAndMaySpanLines) {
  EXPECT_EQ(Lex(R"("C:\temp\" "")"), (Tokens{{TK_STRING, R"(C:\temp\)"}, {TK_STRING, ""}}));
  EXPECT_EQ(Lex("\"a\nb\" x"), (Tokens{{TK_STRING, "a\nb"}, {TK_IDENT, "x"}}));
}

TEST_F(LexerTest, UnclosedStringEndsAsAnErrorToken) {
  EXPECT_EQ(Lex("x \"abc"), (Tokens{{TK_IDENT, "x"}, {TK_ERROR, "\""}}));
  EXPECT_NE(m_Out.find("string miss the closing"), std::string::npos) << m_Out;
}

TEST_F(LexerTest, CommentsDisappear) {
  EXPECT_EQ(Lex("a # one\ntwo # b"), (Tokens{{TK_IDENT, "a"}, {TK_IDENT, "b"}}));
  EXPECT_EQ(Lex("a # never closed\nb c"), (Tokens{{TK_IDENT, "a"}}));
  EXPECT_EQ(Lex("a//b\nc"), (Tokens{{TK_IDENT, "a"}, {TK_IDENT, "c"}}));
  EXPECT_EQ(Lex("a///b\nc"), (Tokens{{TK_IDENT, "a"}, {TK_IDENT, "c"}}));
  EXPECT_EQ(Lex("a/ /b"),
            (Tokens{{TK_IDENT, "a"}, {TK_SLASH, "/"}, {TK_SLASH, "/"}, {TK_IDENT, "b"}}));
  // A comment on the last line, with or without its line feed, ends the input.
  EXPECT_EQ(Lex("a // tail"), (Tokens{{TK_IDENT, "a"}}));
  EXPECT_EQ(Lex("a // tail\n"), (Tokens{{TK_IDENT, "a"}}));
}

TEST_F(LexerTest, LoneExclamationMarkSwallowsTheNextByte) {
  EXPECT_EQ(
      Lex("!x y a != b"),
      (Tokens{{TK_ERROR, "!"}, {TK_IDENT, "y"}, {TK_IDENT, "a"}, {TK_NE, "!="}, {TK_IDENT, "b"}}));
  EXPECT_EQ(m_Out, "\n$ \nThe current err state is 17 . \n ");
}

TEST_F(LexerTest, NamesAreClassifiedCaseSensitively) {
  EXPECT_EQ(Lex("If NUM Define while num string"), (Tokens{{TK_IDENT, "If"},
                                                           {TK_IDENT, "NUM"},
                                                           {TK_IDENT, "Define"},
                                                           {TK_WHILE, "while"},
                                                           {TK_KW_NUM, "num"},
                                                           {TK_KW_STRING, "string"}}));
  EXPECT_EQ(Lex("then do HKEY_USERS"),
            (Tokens{{TK_THEN, "then"}, {TK_DO, "do"}, {TK_CONST, "HKEY_USERS"}}));
  EXPECT_EQ(Lex("a end b"), (Tokens{{TK_IDENT, "a"}}));  // 'end' is the end of input
}

TEST_F(LexerTest, OperatorsAndBytesThatBeginNoToken) {
  EXPECT_EQ(Lex("abc.def"), (Tokens{{TK_IDENT, "abc"}, {TK_NONE, "."}, {TK_IDENT, "def"}}));
  EXPECT_EQ(Lex("<= >= == = < > && & || | %= % *= /="), (Tokens{{TK_LE, "<="},
                                                                {TK_GE, ">="},
                                                                {TK_EQ, "=="},
                                                                {TK_ASSIGN, "="},
                                                                {TK_LT, "<"},
                                                                {TK_GT, ">"},
                                                                {TK_ANDAND, "&&"},
                                                                {TK_AND, "&"},
                                                                {TK_OROR, "||"},
                                                                {TK_OR, "|"},
                                                                {TK_PERCENT_ASSIGN, "%="},
                                                                {TK_PERCENT, "%"},
                                                                {TK_STAR_ASSIGN, "*="},
                                                                {TK_SLASH_ASSIGN, "/="}}));
  EXPECT_EQ(Lex("\x80$"), (Tokens{{TK_NONE, "\x80"}, {TK_NONE, "$"}}));
}

TEST_F(LexerTest, LongLinesArriveInPiecesOf4094Bytes) {
  const std::string line(5000, ' ');
  Lex(line + "x\ny\n");
  // 5,001 bytes and a line feed: two pieces, then the second line.
  EXPECT_EQ(theGlobal.m_nLineNo, 3);
  const Tokens split = Lex(std::string(4093, ' ') + "ab\n");
  EXPECT_EQ(split, (Tokens{{TK_IDENT, "ab"}}));  // a token continues across pieces
  EXPECT_EQ(theGlobal.m_nLineNo, 2);
}

TEST_F(LexerTest, TokensAreCutAt4095Bytes) {
  const std::string name(5000, 'n');
  const Tokens tokens = Lex(name + " z \"" + std::string(4100, 's') + "\" w");
  ASSERT_EQ(tokens.size(), 4u);
  EXPECT_EQ(tokens[0].second, std::string(4095, 'n'));
  EXPECT_EQ(tokens[1].second, "z");
  EXPECT_EQ(tokens[2], (std::pair<int, std::string>{TK_STRING, std::string(4095, 's')}));
  EXPECT_EQ(tokens[3].second, "w");
}

TEST_F(LexerTest, CarriageReturnLineFeedIsOneLineEnd) {
  EXPECT_EQ(Lex("a\r\nb\r\n"), (Tokens{{TK_IDENT, "a"}, {TK_IDENT, "b"}}));
  EXPECT_EQ(theGlobal.m_nLineNo, 2);
}

TEST_F(LexerTest, MatchTokenAdvancesOnlyOnTheExpectedCode) {
  Open("a b");
  front::GetToken();
  EXPECT_EQ(front::MatchToken(TK_NUMBER), 0);
  EXPECT_STREQ(theGlobal.m_szToken, "a");
  EXPECT_EQ(front::MatchToken(TK_IDENT), 1);
  EXPECT_STREQ(theGlobal.m_szToken, "b");
}

TEST_F(LexerTest, MacroTextEndsAtItsTerminatingNul) {
  Open("");
  const std::string text = "x \"open";
  theGlobal.m_bInMacro = 1;
  theGlobal.m_pMacroText = text.c_str();
  theGlobal.m_nMacroPos = 0;
  EXPECT_EQ(front::GetToken(), TK_IDENT);
  EXPECT_EQ(front::GetToken(), TK_ERROR);  // the literal stops at the NUL
  for (int i = 0; i < 3; ++i) EXPECT_EQ(front::GetToken(), TK_NONE);  // never reads past it
  const std::string comment = "# open";
  theGlobal.m_pMacroText = comment.c_str();
  theGlobal.m_nMacroPos = 0;
  EXPECT_EQ(front::GetToken(), TK_NONE);
  const std::string line = "a // rest";
  theGlobal.m_pMacroText = line.c_str();
  theGlobal.m_nMacroPos = 0;
  EXPECT_EQ(front::GetToken(), TK_IDENT);
  EXPECT_EQ(front::GetToken(), TK_NONE);
  theGlobal.m_bInMacro = 0;
  theGlobal.m_pMacroText = nullptr;
}

}  // namespace
}  // namespace setup::testing
