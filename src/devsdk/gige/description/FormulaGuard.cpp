// SPDX-License-Identifier: Apache-2.0
#include "FormulaGuard.h"

#include "FormulaSyntax.h"

#include <algorithm>
#include <cstddef>

namespace Vorda::Gige {
namespace {

constexpr int kDeepest = 8;
constexpr std::size_t kLongest = 65536;

/** Finds where operands end. All positions are in one formula. */
class Operands {
 public:
    explicit Operands(std::string_view formula) : formula_(formula) {}

    [[nodiscard]] std::size_t skipBlanks(std::size_t at) const {
        while (at < formula_.size() && isBlank(formula_[at])) ++at;
        return at;
    }

    /** The end of the operand that begins at `at`; npos when none does. */
    [[nodiscard]] std::size_t end(std::size_t at) const {
        for (;;) {
            at = primaryEnd(at);
            if (at == std::string_view::npos) return at;
            const std::size_t next = skipBlanks(at);
            if (formula_.substr(next, 2) != "**") return at;
            at = next + 2;
        }
    }

 private:
    [[nodiscard]] std::size_t primaryEnd(std::size_t at) const {
        for (;;) {
            at = skipBlanks(at);
            if (at >= formula_.size()) return std::string_view::npos;
            const char first = formula_[at];
            if (first == '(') return parenthesisEnd(at);
            if (first == '+' || first == '-' || first == '~') {
                ++at;
                continue;
            }
            if (!isWordPart(first)) return std::string_view::npos;
            const std::size_t wordEnd = this->wordEnd(at);
            if (!isFunction(formula_.substr(at, wordEnd - at))) return wordEnd;
            at = wordEnd;
        }
    }

    [[nodiscard]] std::size_t wordEnd(std::size_t at) const {
        const std::size_t start = at;
        const bool isHex = formula_.substr(start, 2) == "0x" || formula_.substr(start, 2) == "0X";
        const bool isNumber = !isHex && isDigit(formula_[start]);
        while (at < formula_.size()) {
            const bool isExponentSign = isNumber && at > start &&
                                        (formula_[at] == '+' || formula_[at] == '-') &&
                                        (formula_[at - 1] == 'e' || formula_[at - 1] == 'E') &&
                                        at + 1 < formula_.size() && isDigit(formula_[at + 1]);
            if (!isWordPart(formula_[at]) && !isExponentSign) break;
            ++at;
        }
        return at;
    }

    [[nodiscard]] std::size_t parenthesisEnd(std::size_t at) const {
        for (std::size_t open = 0; at < formula_.size(); ++at) {
            if (formula_[at] == '(') ++open;
            if (formula_[at] == ')' && --open == 0) return at + 1;
        }
        return std::string_view::npos;
    }

    const std::string_view formula_;
};

bool isPlainNumber(std::string_view operand) {
    return !operand.empty() && isDigit(operand.front()) && std::ranges::all_of(operand, isWordPart);
}

std::optional<std::string> guarded(std::string_view formula, bool isInteger, int depth) {
    if (depth > kDeepest) return std::nullopt;
    const Operands operands(formula);
    std::string result;
    for (std::size_t at = 0; at < formula.size();) {
        const char sign = formula[at];
        const bool isGuarded = sign == '%' || (sign == '/' && isInteger);
        if (!isGuarded) {
            result += sign;
            ++at;
            continue;
        }
        const std::size_t start = operands.skipBlanks(at + 1);
        const std::size_t end = operands.end(start);
        if (end == std::string_view::npos) return std::nullopt;
        at = end;
        const std::string_view plain = formula.substr(start, end - start);
        if (isPlainNumber(plain)) {
            result.append(1, sign).append(plain);
            continue;
        }
        const auto divisor = guarded(plain, isInteger, depth + 1);
        if (!divisor) return std::nullopt;
        const std::string whole = isInteger ? "(" + *divisor + ")" : "trunc(" + *divisor + ")";
        const std::string isMinusOne = "((" + whole + ")=(0-1))";
        // A / B is A * -1 / 1 for a B of -1; the remainder is that of 1.
        if (sign == '/') result += "*(" + isMinusOne + "?(0-1):1)";
        result += sign + ("(" + isMinusOne + "?1:(" + *divisor + "))");
        if (result.size() > kLongest) return std::nullopt;
    }
    return result;
}

}  // namespace

std::optional<std::string> guardedFormula(std::string_view formula, bool isInteger) {
    return isWellFormed(formula) ? guarded(formula, isInteger, 0) : std::nullopt;
}

}  // namespace Vorda::Gige
