#include "runtime/filter_parser.hpp"

#include <cctype>
#include <cstdlib>

#include "host/sysutils.hpp"

namespace nrw {
namespace {

struct Token {
  enum class Type { Name, Number, String, Op, LParen, RParen, End };
  Type type = Type::End;
  std::string text;
  size_t position = 0;  // 1-based
};

class Lexer {
 public:
  explicit Lexer(const std::string& text) : text_(text) {}

  std::vector<Token> Tokens() {
    std::vector<Token> tokens;
    for (;;) {
      Token token = NextToken();
      tokens.push_back(token);
      if (token.type == Token::Type::End) {
        return tokens;
      }
    }
  }

  [[noreturn]] void Fail(size_t position, const std::string& what) const {
    throw Exception("Invalid filter \"" + text_ + "\" at position " + std::to_string(position) +
                    ": " + what);
  }

 private:
  Token NextToken() {
    while (i_ < text_.size() && std::isspace(static_cast<unsigned char>(text_[i_]))) {
      ++i_;
    }
    Token token;
    token.position = i_ + 1;
    if (i_ >= text_.size()) {
      return token;
    }
    const char c = text_[i_];
    if (std::isalpha(static_cast<unsigned char>(c)) || c == '_') {
      return Take(token, Token::Type::Name, [](char ch) {
        return std::isalnum(static_cast<unsigned char>(ch)) || ch == '_';
      });
    }
    if (std::isdigit(static_cast<unsigned char>(c)) ||
        (c == '.' && i_ + 1 < text_.size() &&
         std::isdigit(static_cast<unsigned char>(text_[i_ + 1])))) {
      return Take(token, Token::Type::Number, [](char ch) {
        return std::isdigit(static_cast<unsigned char>(ch)) || ch == '.';
      });
    }
    if (c == '\'') {
      return QuotedString(token);
    }
    if (c == '(' || c == ')') {
      ++i_;
      token.type = c == '(' ? Token::Type::LParen : Token::Type::RParen;
      token.text = std::string(1, c);
      return token;
    }
    return Operator(token);
  }

  template <class Pred>
  Token Take(Token token, Token::Type type, Pred pred) {
    const size_t start = i_;
    while (i_ < text_.size() && pred(text_[i_])) {
      ++i_;
    }
    token.type = type;
    token.text = text_.substr(start, i_ - start);
    return token;
  }

  Token QuotedString(Token token) {
    ++i_;
    token.type = Token::Type::String;
    for (;;) {
      if (i_ >= text_.size()) {
        Fail(token.position, "unterminated string");
      }
      if (text_[i_] == '\'') {
        if (i_ + 1 < text_.size() && text_[i_ + 1] == '\'') {
          token.text += '\'';
          i_ += 2;
          continue;
        }
        ++i_;
        return token;
      }
      token.text += text_[i_++];
    }
  }

  Token Operator(Token token) {
    static const char* const kOperators[] = {"<>", "<=", ">=", "=", "<", ">"};
    for (const char* op : kOperators) {
      const std::string candidate(op);
      if (text_.compare(i_, candidate.size(), candidate) == 0) {
        i_ += candidate.size();
        token.type = Token::Type::Op;
        token.text = candidate;
        return token;
      }
    }
    Fail(token.position, std::string("unexpected character '") + text_[i_] + "'");
  }

  const std::string& text_;
  size_t i_ = 0;
};

class Parser {
 public:
  Parser(const std::string& text, const std::vector<TFieldDef>& fields)
      : lexer_(text), tokens_(lexer_.Tokens()), fields_(fields) {}

  std::unique_ptr<FilterNode> Parse() {
    auto node = Or();
    if (Peek().type != Token::Type::End) {
      Unexpected();
    }
    return node;
  }

 private:
  const Token& Peek() const { return tokens_[pos_]; }
  bool IsKeyword(const char* word) const {
    return Peek().type == Token::Type::Name && SameText(Peek().text, word);
  }
  [[noreturn]] void Unexpected() const {
    if (Peek().type == Token::Type::End) {
      lexer_.Fail(Peek().position, "unexpected end of filter");
    }
    lexer_.Fail(Peek().position, "unexpected '" + Peek().text + "'");
  }

  static std::unique_ptr<FilterNode> Binary(FilterNode::Kind kind, std::unique_ptr<FilterNode> l,
                                            std::unique_ptr<FilterNode> r) {
    auto node = std::make_unique<FilterNode>();
    node->kind = kind;
    node->left = std::move(l);
    node->right = std::move(r);
    return node;
  }

  std::unique_ptr<FilterNode> Or() {
    auto node = And();
    while (IsKeyword("or")) {
      ++pos_;
      node = Binary(FilterNode::Kind::Or, std::move(node), And());
    }
    return node;
  }

  std::unique_ptr<FilterNode> And() {
    auto node = Not();
    while (IsKeyword("and")) {
      ++pos_;
      node = Binary(FilterNode::Kind::And, std::move(node), Not());
    }
    return node;
  }

  std::unique_ptr<FilterNode> Not() {
    if (IsKeyword("not")) {
      ++pos_;
      return Binary(FilterNode::Kind::Not, Not(), nullptr);
    }
    return Compare();
  }

  std::unique_ptr<FilterNode> Compare() {
    auto node = Value();
    if (Peek().type != Token::Type::Op) {
      return node;
    }
    static const std::pair<const char*, FilterNode::Op> kOps[] = {
        {"=", FilterNode::Op::Eq},  {"<>", FilterNode::Op::Ne}, {"<", FilterNode::Op::Lt},
        {"<=", FilterNode::Op::Le}, {">", FilterNode::Op::Gt},  {">=", FilterNode::Op::Ge}};
    FilterNode::Op op = FilterNode::Op::Eq;
    for (const auto& [text, value] : kOps) {
      if (Peek().text == text) {
        op = value;
      }
    }
    ++pos_;
    auto result = Binary(FilterNode::Kind::Compare, std::move(node), Value());
    result->op = op;
    return result;
  }

  std::unique_ptr<FilterNode> Value() {
    const Token& token = Peek();
    auto node = std::make_unique<FilterNode>();
    switch (token.type) {
      case Token::Type::Number:
        node->literal = NumberLiteral(token);
        break;
      case Token::Type::String:
        node->literal = Variant(token.text);
        break;
      case Token::Type::LParen: {
        ++pos_;
        auto inner = Or();
        Expect(Token::Type::RParen);
        return inner;
      }
      case Token::Type::Name:
        return NameOrFunction();
      default:
        Unexpected();
    }
    ++pos_;
    return node;
  }

  std::unique_ptr<FilterNode> NameOrFunction() {
    const Token token = Peek();
    ++pos_;
    if (SameText(token.text, "upper") && Peek().type == Token::Type::LParen) {
      ++pos_;
      auto node = Binary(FilterNode::Kind::Upper, Value(), nullptr);
      Expect(Token::Type::RParen);
      return node;
    }
    for (size_t f = 0; f < fields_.size(); ++f) {
      if (SameText(fields_[f].name, token.text)) {
        auto node = std::make_unique<FilterNode>();
        node->kind = FilterNode::Kind::Field;
        node->field = static_cast<int>(f);
        return node;
      }
    }
    lexer_.Fail(token.position, "unknown field '" + token.text + "'");
  }

  Variant NumberLiteral(const Token& token) const {
    if (token.text.find('.') == std::string::npos && token.text.size() < 19) {
      return Variant(static_cast<int64_t>(std::strtoll(token.text.c_str(), nullptr, 10)));
    }
    char* end = nullptr;
    const double value = std::strtod(token.text.c_str(), &end);
    if (end == nullptr || *end != '\0') {
      lexer_.Fail(token.position, "malformed number '" + token.text + "'");
    }
    return Variant(value);
  }

  void Expect(Token::Type type) {
    if (Peek().type != type) {
      Unexpected();
    }
    ++pos_;
  }

  Lexer lexer_;
  std::vector<Token> tokens_;
  const std::vector<TFieldDef>& fields_;
  size_t pos_ = 0;
};

int ThreeWay(const Variant& left, const Variant& right) {
  if (left.IsNumeric() && right.IsNumeric()) {
    const double a = left.AsFloat();
    const double b = right.AsFloat();
    return a < b ? -1 : (a > b ? 1 : 0);
  }
  const std::string a = left.AsString();
  const std::string b = right.AsString();
  return a < b ? -1 : (a > b ? 1 : 0);
}

}  // namespace

std::unique_ptr<FilterNode> ParseFilter(const std::string& text,
                                        const std::vector<TFieldDef>& fields) {
  return Parser(text, fields).Parse();
}

bool OrderHolds(FilterNode::Op op, int three_way) {
  switch (op) {
    case FilterNode::Op::Eq:
      return three_way == 0;
    case FilterNode::Op::Ne:
      return three_way != 0;
    case FilterNode::Op::Lt:
      return three_way < 0;
    case FilterNode::Op::Le:
      return three_way <= 0;
    case FilterNode::Op::Gt:
      return three_way > 0;
    case FilterNode::Op::Ge:
      return three_way >= 0;
  }
  return false;
}

bool CompareValues(FilterNode::Op op, const Variant& left, const Variant& right) {
  if (left.IsNull() || right.IsNull()) {
    return false;
  }
  return OrderHolds(op, ThreeWay(left, right));
}

}  // namespace nrw
