// SPDX-License-Identifier: Apache-2.0
//
// Formulas of a description. What the guard lets pass must not end the process, whatever its
// variables are, and must have the value that it had: the formulas that are made of choices come
// with a calculation of our own.
#include "FormulaGuard.h"
#include "FormulaSyntax.h"
#include "FuzzInput.h"

#include <arv.h>

#include <array>
#include <cstring>
#include <limits>
#include <optional>
#include <string>
#include <utility>

namespace {

using namespace kestro::fuzz;
using Vorda::Gige::guardedFormula;

constexpr std::int64_t kLeast = std::numeric_limits<std::int64_t>::min();
constexpr std::array<std::int64_t, 8> kNumbers = {
    0, 1, -1, kLeast, std::numeric_limits<std::int64_t>::max(), 7, -3, 1LL << 32};

struct Variables {
    std::int64_t a = 0;
    std::int64_t b = 0;
};

/** The node map's calculation of a formula. */
class Evaluator {
 public:
    Evaluator(const std::string& formula, const Variables& variables)
        : evaluator_(arv_evaluator_new(formula.c_str())) {
        arv_evaluator_set_int64_variable(evaluator_, "A", variables.a);
        arv_evaluator_set_int64_variable(evaluator_, "B", variables.b);
    }
    Evaluator(const Evaluator&) = delete;
    Evaluator& operator=(const Evaluator&) = delete;
    ~Evaluator() { g_object_unref(evaluator_); }

    std::optional<std::int64_t> integer() {
        GError* error = nullptr;
        const std::int64_t value = arv_evaluator_evaluate_as_int64(evaluator_, &error);
        return hasFailed(error) ? std::nullopt : std::optional(value);
    }
    std::optional<double> number() {
        GError* error = nullptr;
        const double value = arv_evaluator_evaluate_as_double(evaluator_, &error);
        return hasFailed(error) ? std::nullopt : std::optional(value);
    }

 private:
    static bool hasFailed(GError* error) {
        const bool hasError = error != nullptr;
        g_clear_error(&error);
        return hasError;
    }

    ArvEvaluator* evaluator_;
};

/** As the processor calculates, but for the division that ends a process. */
std::int64_t wrapped(std::uint64_t value) { return static_cast<std::int64_t>(value); }

std::optional<std::int64_t> quotient(std::int64_t one, std::int64_t other) {
    if (other == 0) return std::nullopt;
    return other == -1 ? wrapped(0 - static_cast<std::uint64_t>(one)) : one / other;
}

std::optional<std::int64_t> remainder(std::int64_t one, std::int64_t other) {
    if (other == 0) return std::nullopt;
    return other == -1 ? 0 : one % other;
}

std::optional<std::int64_t> calculated(std::string_view sign, std::int64_t one,
                                       std::int64_t other) {
    const auto a = static_cast<std::uint64_t>(one);
    const auto b = static_cast<std::uint64_t>(other);
    if (sign == "+") return wrapped(a + b);
    if (sign == "-") return wrapped(a - b);
    if (sign == "*") return wrapped(a * b);
    if (sign == "/") return quotient(one, other);
    if (sign == "%") return remainder(one, other);
    if (sign == "&") return wrapped(a & b);
    if (sign == "|") return wrapped(a | b);
    if (sign == "^") return wrapped(a ^ b);
    if (sign == "=") return one == other;
    if (sign == "<>") return one != other;
    if (sign == "<=") return one <= other;
    return one > other;
}

/** A formula and its value; none where it divides by 0 anywhere. */
struct Term {
    std::string text;
    std::optional<std::int64_t> value;
};

class TermMaker {
 public:
    TermMaker(Choices& choices, const Variables& variables)
        : choices_(choices), variables_(variables) {}

    Term make(int depth = 0) {
        static constexpr const char* kSigns[] = {"+", "-", "*", "/",  "%",  "/", "&",
                                                 "|", "^", "=", "<>", "<=", ">"};
        const std::size_t kind = depth > 4 ? 0 : choices_.below(8);
        if (kind < 2) return leaf();
        if (kind == 2) return choice(depth);
        if (kind == 3) return unary(depth);
        const Term one = make(depth + 1);
        const std::string sign = choices_.oneOf(kSigns);
        const Term other = make(depth + 1);
        Term made{"(" + one.text + blank() + sign + blank() + other.text + ")", std::nullopt};
        if (one.value && other.value) made.value = calculated(sign, *one.value, *other.value);
        return made;
    }

 private:
    Term leaf() {
        switch (choices_.below(4)) {
            case 0:
                return {"A", variables_.a};
            case 1:
                return {"B", variables_.b};
            case 2: {
                const std::int64_t number = choices_.byte();
                return {std::to_string(number), number};
            }
            default: {
                char text[24];
                const auto number = static_cast<std::int64_t>(choices_.number(3));
                std::snprintf(text, sizeof text, "0x%llx", static_cast<long long>(number));
                return {text, number};
            }
        }
    }
    Term unary(int depth) {
        const bool isComplement = choices_.flag();
        const Term term = make(depth + 1);
        Term made{(isComplement ? "(~" : "neg(") + term.text + ")", std::nullopt};
        if (!term.value) return made;
        const auto bits = static_cast<std::uint64_t>(*term.value);
        made.value = wrapped(isComplement ? ~bits : 0 - bits);
        return made;
    }
    /** Both sides are calculated. */
    Term choice(int depth) {
        const Term what = make(depth + 1);
        const Term yes = make(depth + 1);
        const Term no = make(depth + 1);
        Term made{"((" + what.text + ")?" + yes.text + ":" + no.text + ")", std::nullopt};
        if (what.value && yes.value && no.value)
            made.value = *what.value != 0 ? yes.value : no.value;
        return made;
    }
    std::string blank() { return choices_.below(8) == 0 ? " " : ""; }

    Choices& choices_;
    const Variables& variables_;
};

Variables variablesOf(Choices& choices) {
    const auto number = [&choices] {
        return choices.flag() ? choices.oneOf(kNumbers)
                              : static_cast<std::int64_t>(choices.number(8));
    };
    Variables variables;
    variables.a = number();
    variables.b = number();
    return variables;
}

void checkTerm(Choices& choices) {
    const Variables variables = variablesOf(choices);
    const Term term = TermMaker(choices, variables).make();
    if (term.text.size() > 2000) return;
    KESTRO_EXPECT(Vorda::Gige::isWellFormed(term.text));
    const auto guarded = guardedFormula(term.text, true);
    if (!guarded || guarded->size() > 20000) return;
    KESTRO_EXPECT(Evaluator(*guarded, variables).integer() == term.value);
}

/** Signs and words in a row, which seldom make a formula. */
std::string wordsOf(Choices& choices) {
    static constexpr const char* kWords[] = {
        "A",    "B",     "1",    "0",    "(",      ")",       "+",    "-",   "*",
        "/",    "%",     "**",   "&&",   "||",     "<>",      "<<",   "<=",  ">>",
        ">=",   "&",     "|",    "^",    "<",      ">",       "=",    "?",   ":",
        "~",    ",",     " ",    "\t",   "0x1f",   "0X",      "1.5",  "2e3", "1e-2",
        ".5",   "A.B",   "_",    "sin(", "round(", "trunc (", "NEG(", "abs", "9223372036854775808",
        "1.e+", "(A/B)", "(A%B)"};
    std::string text;
    while (!choices.isEmpty() && text.size() < 200) text += choices.oneOf(kWords);
    return text;
}

void checkText(const std::string& text, const Variables& variables) {
    // A NUL ends what the node map sees.
    if (text.find('\0') != std::string::npos) return;
    const bool isWellFormed = Vorda::Gige::isWellFormed(text);
    const auto integers = guardedFormula(text, true);
    const auto floats = guardedFormula(text, false);
    KESTRO_EXPECT(isWellFormed || (!integers && !floats));
    const bool divides = text.find_first_of("/%") != std::string::npos;
    if (isWellFormed && !divides) KESTRO_EXPECT(integers == text && floats == text);
    for (const auto& guarded : {integers, floats}) {
        if (!guarded || guarded->size() > 5000) continue;
        KESTRO_EXPECT(Vorda::Gige::isWellFormed(*guarded));
        Evaluator evaluator(*guarded, variables);
        if (guarded == integers) static_cast<void>(evaluator.integer());
        if (guarded == floats) static_cast<void>(evaluator.number());
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Choices choices(data, size);
    switch (choices.below(3)) {
        case 0: {
            const Variables variables = variablesOf(choices);
            const ByteView text = choices.bytes(300);
            checkText({text.begin(), text.end()}, variables);
            break;
        }
        case 1: {
            const Variables variables = variablesOf(choices);
            checkText(wordsOf(choices), variables);
            break;
        }
        default:
            checkTerm(choices);
            break;
    }
    return 0;
}
