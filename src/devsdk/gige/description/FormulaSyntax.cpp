// SPDX-License-Identifier: Apache-2.0
#include "FormulaSyntax.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <vector>

namespace Vorda::Gige {
namespace {

constexpr std::array<std::string_view, 17> kFunctions = {
    "sin", "cos",  "sgn",   "neg",   "atan",  "tan",  "abs",  "exp", "ln",
    "lg",  "sqrt", "trunc", "round", "floor", "ceil", "asin", "acos"};

/** Between two operands, those of two signs first. */
constexpr std::array<std::string_view, 19> kOperators = {"**", "&&", "||", "<>", "<<", "<=", ">>",
                                                         ">=", "*",  "/",  "%",  "&",  "|",  "^",
                                                         "<",  ">",  "=",  "+",  "-"};

bool isSame(std::string_view known, std::string_view word) {
    return std::ranges::equal(known, word, [](char one, char other) {
        return one == std::tolower(static_cast<unsigned char>(other));
    });
}

bool isHexDigit(char each) { return std::isxdigit(static_cast<unsigned char>(each)) != 0; }

/** Goes through a formula once, from sign to sign. */
class FormulaReader {
 public:
    explicit FormulaReader(std::string_view formula) : formula_(formula) {}

    [[nodiscard]] bool run() {
        for (skipBlanks(); at_ < formula_.size(); skipBlanks()) {
            const bool isRight = isWordPart(formula_[at_]) ? readOperand() : readSign();
            if (!isRight) return false;
        }
        return levels_.size() == 1 && isComplete();
    }

 private:
    struct Level {
        bool mayHaveComma = false;
        int openChoices = 0;  ///< a '?' whose ':' is still to come
    };

    [[nodiscard]] bool isComplete() const {
        return isAfterOperand_ && levels_.back().openChoices == 0;
    }

    void skipBlanks() {
        while (at_ < formula_.size() && isBlank(formula_[at_])) ++at_;
    }

    template <typename Is>
    void skipAll(Is is) {
        while (at_ < formula_.size() && is(formula_[at_])) ++at_;
    }

    [[nodiscard]] bool readOperand() {
        if (isAfterOperand_) return false;
        isAfterOperand_ = true;
        if (isDigit(formula_[at_])) return readNumber();
        const std::size_t start = at_;
        skipAll(isWordPart);
        const std::string_view word = formula_.substr(start, at_ - start);
        return !isFunction(word) || openFunction(isSame("round", word));
    }

    /** Without parentheses the node map applies a function to what stands before it. */
    [[nodiscard]] bool openFunction(bool mayHaveComma) {
        isAfterOperand_ = false;
        skipBlanks();
        if (at_ == formula_.size() || formula_[at_] != '(') return false;
        ++at_;
        levels_.push_back({mayHaveComma, 0});
        return true;
    }

    [[nodiscard]] bool readNumber() {
        const std::string_view start = formula_.substr(at_, 2);
        if (start == "0x" || start == "0X") {
            at_ += 2;
            skipAll(isHexDigit);
        } else {
            skipAll(isDigit);
            if (formula_.substr(at_, 1) == ".") ++at_;
            skipAll(isDigit);
            readExponent();
        }
        return at_ == formula_.size() || !isWordPart(formula_[at_]);
    }

    void readExponent() {
        if (at_ == formula_.size() || std::tolower(formula_[at_]) != 'e') return;
        const std::size_t start = at_++;
        if (at_ < formula_.size() && (formula_[at_] == '+' || formula_[at_] == '-')) ++at_;
        if (at_ == formula_.size() || !isDigit(formula_[at_])) at_ = start;
        skipAll(isDigit);
    }

    [[nodiscard]] bool readSign() {
        switch (formula_[at_]) {
            case '(':
                ++at_;
                levels_.emplace_back();
                return !isAfterOperand_;
            case ')':
                if (levels_.size() == 1 || !isComplete()) return false;
                ++at_;
                levels_.pop_back();
                return true;
            case ',':
                return readComma();
            case '?':
            case ':':
                return readChoice(formula_[at_] == '?');
            default:
                return readOperator();
        }
    }

    [[nodiscard]] bool readComma() {
        if (!levels_.back().mayHaveComma || !isComplete()) return false;
        levels_.back().mayHaveComma = false;
        isAfterOperand_ = false;
        ++at_;
        return true;
    }

    [[nodiscard]] bool readChoice(bool isOpened) {
        if (!isAfterOperand_) return false;
        isAfterOperand_ = false;
        levels_.back().openChoices += isOpened ? 1 : -1;
        ++at_;
        return levels_.back().openChoices >= 0;
    }

    [[nodiscard]] bool readOperator() {
        if (!isAfterOperand_) {
            const char sign = formula_[at_++];
            return sign == '+' || sign == '-' || sign == '~';
        }
        const auto found = std::ranges::find_if(kOperators, [this](std::string_view each) {
            return formula_.substr(at_).starts_with(each);
        });
        if (found == kOperators.end()) return false;
        at_ += found->size();
        isAfterOperand_ = false;
        return true;
    }

    const std::string_view formula_;
    std::size_t at_ = 0;
    bool isAfterOperand_ = false;
    std::vector<Level> levels_{1};
};

}  // namespace

bool isWellFormed(std::string_view formula) { return FormulaReader(formula).run(); }

bool isFunction(std::string_view word) {
    return std::ranges::any_of(kFunctions,
                               [word](std::string_view each) { return isSame(each, word); });
}

}  // namespace Vorda::Gige
