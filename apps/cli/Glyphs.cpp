// SPDX-License-Identifier: Apache-2.0
#include "Glyphs.h"

#include <array>
#include <cstddef>
#include <cstdint>

namespace kestrocli {
namespace {

constexpr std::array<std::string_view, 95> kGlyphs = {
    "D",                                             // blank
    "C B0B8 BcBc",                                   // !
    "E A0A3 E0E3",                                   // "
    "I D1Bb H1Fb A4I4 A8I8",                         // #
    "I I4i2E2a2A4a6E6i6I8iaEaaaA8 E0Ec",             // $
    "K C0a0A2a4C4e4E2e0C0 I8g8GagcIckcKak8I8 J0Bc",  // %
    "J JcC4c0E0g0G3g5D6a7A9acDchcJ7",                // &
    "C B0B3",                                        // '
    "D D0a3A7abDe",                                  // (
    "D A0d3D7dbAe",                                  // )
    "I E1E9 A3I7 I3A7",                              // *
    "I A7I7 E3Eb",                                   // +
    "C BcAe",                                        // ,
    "F A7F7",                                        // -
    "C BcBc",                                        // .
    "H AcH0",                                        // /
    "G D0a0A3A9acDcgcG9G3g0D0 B9F3",                 // 0
    "G B2D0Dc BcFc",                                 // 1
    "G A3a0D0g0G3g6AcGc",                            // 2
    "G A3a0D0g0G3g6D6C6 D6g6G9gcDcacA9",             // 3
    "G FcF0A8G8",                                    // 4
    "G G0A0A5D5g5G8G9gcDcacAa",                      // 5
    "G F0a0A6A9acDcgcG9G8g5D5a5A8",                  // 6
    "G A0G0Cc",                                      // 7
    "G D6a6A3a0D0g0G3g6D6a6A9acDcgcG9g6D6",          // 8
    "G BcgcG6G3g0D0a0A3A4a7D7g7G4",                  // 9
    "C B5B5 BcBc",                                   // :
    "C B5B5 BcAe",                                   // ;
    "H H2A7Hc",                                      // <
    "I A5I5 A9I9",                                   // =
    "H A2H7Ac",                                      // >
    "G A3a0D0g0G3g6D7D8 DcDc",                       // ?
    "M I6i4G4e4E6e9G9i9I6I7i9K9m9M6m0G0a0A6acGcJc",  // @
    "I AcE0Ic B9H9",                                 // A
    "I AcA0E0h0H3h6E6A6 E6i6I9icEcAc",               // B
    "I I3i0E0a0A3A9acEcicI9",                        // C
    "I A0E0i0I4I8icEcAcA0",                          // D
    "H H0A0AcHc A6F6",                               // E
    "H H0A0Ac A6F6",                                 // F
    "I I3i0E0a0A3A9acEcicI9I7E7",                    // G
    "I A0Ac I0Ic A6I6",                              // H
    "E A0E0 AcEc C0Cc",                              // I
    "G G0G9gcDcacA9",                                // J
    "I A0Ac I0A8 E4Ic",                              // K
    "H A0AcHc",                                      // L
    "K AcA0F8K0Kc",                                  // M
    "I AcA0IcI0",                                    // N
    "I E0a0A3A9acEcicI9I3i0E0",                      // O
    "I AcA0E0i0I3I4i7E7A7",                          // P
    "I E0a0A3A9acEcicI9I3i0E0 F9Id",                 // Q
    "I AcA0E0i0I3I4i7E7A7 E7Ic",                     // R
    "I I3i0E0a0A3a6E6i6I9icEcacA9",                  // S
    "I A0I0 E0Ec",                                   // T
    "I A0A9acEcicI9I0",                              // U
    "I A0EcI0",                                      // V
    "M A0DcG3JcM0",                                  // W
    "I A0Ic I0Ac",                                   // X
    "I A0E6I0 E6Ec",                                 // Y
    "I A0I0AcIc",                                    // Z
    "D D0A0AeDe",                                    // [
    "H A0Hc",                                        // backslash
    "D A0D0DeAe",                                    // ]
    "G A4D0G4",                                      // ^
    "I AeIe",                                        // _
    "D A0C3",                                        // `
    "G A6a4D4g4G7Gc G8D8a8AaacCcgcG9",               // a
    "G A0Ac A7a4D4g4G7G9gcDcacA9",                   // b
    "G G6g4D4a4A7A9acDcgcGa",                        // c
    "G G0Gc G7g4D4a4A7A9acDcgcG9",                   // d
    "G A8G8G7g4D4a4A7A9acDcfcGb",                    // e
    "E E0b0B3Bc A4E4",                               // f
    "G G4GdggDgbgAf G7g4D4a4A7A9acDcgcG9",           // g
    "G A0Ac A7a4D4g4G7Gc",                           // h
    "C B4Bc B1B1",                                   // i
    "D C4CdcgAg C1C1",                               // j
    "G A0Ac G4A9 C7Gc",                              // k
    "D A0A9acCc",                                    // l
    "K A4Ac A7a4C4D4f4F7Fc F7f4H4I4k4K7Kc",          // m
    "G A4Ac A7a4D4g4G7Gc",                           // n
    "G D4a4A7A9acDcgcG9G7g4D4",                      // o
    "G A4Ag A7a4D4g4G7G9gcDcacA9",                   // p
    "G G4Gg G7g4D4a4A7A9acDcgcG9",                   // q
    "E A4Ac A7a4E4",                                 // r
    "G G6g4D4a4A6a8D8g8GagcDcacAa",                  // s
    "E B1B9bcEc A4E4",                               // t
    "G A4A9acDcgcG9 G4Gc",                           // u
    "G A4DcG4",                                      // v
    "K A4CcF5IcK4",                                  // w
    "G A4Gc G4Ac",                                   // x
    "G A4Dc G4Cf",                                   // y
    "G A4G4AcGc",                                    // z
    "D D0b0B3B5b7A7b7B9BbbeDe",                      // {
    "C B0Be",                                        // |
    "D A0c0C3C5c7D7c7C9CbceAe",                      // }
    "I A8b5E7h9I6",                                  // ~
};

constexpr std::string_view kDotless = "C B4Bc";
constexpr std::string_view kBox = "G A0G0GcAcA0";
constexpr std::string_view kThreeDots = "I AcAc EcEc IcIc";

// U+00C0 to U+017F, 16 a line: the letter and the mark on it, or two letters in one, or blanks for
// what has no glyph.
constexpr std::string_view kAccented =
    "A`A'A^A~A:AoAEC,E`E'E^E:I`I'I^I:"
    "  N~O`O'O^O~O:  O/U`U'U^U:Y'  ss"
    "a`a'a^a~a:aoaec,e`e'e^e:i`i'i^i:"
    "  n~o`o'o^o~o:  o/u`u'u^u:y'  y:"
    "A-a-AuauA;a;C'c'C^c^C.c.CvcvDvdv"
    "D/d/E-e-EueuE.e.E;e;EvevG^g^Gugu"
    "G.g.G,g,H^h^H/h/I~i~I-i-IuiuI;i;"
    "I.i     J^j^K,k,  L'l'L,l,LvlvL."
    "l.L/l/N'n'N,n,Nvnv      O-o-Ouou"
    "O\"o\"    R'r'R,r,RvrvS's'S^s^S,s,"
    "SvsvT,t,TvtvT/t/U~u~U-u-UuuuUouo"
    "U\"u\"U;u;W^w^Y^y^Y:Z'z'Z.z.Zvzv  ";
constexpr std::uint32_t kFirstAccented = 0xC0;

struct NamedStrokes {
    char name;
    std::string_view strokes;
};

// As marks stand above a small letter, or below or across any; last, two letters in one.
constexpr std::array kMarks = {
    NamedStrokes{'`', "C A0C2"},
    NamedStrokes{'\'', "C C0A2"},
    NamedStrokes{'^', "E A2C0E2"},
    NamedStrokes{'v', "E A0C2E0"},
    NamedStrokes{'~', "G A2b0D1f2G0"},
    NamedStrokes{':', "E A1A1 E1E1"},
    NamedStrokes{'.', "A A1A1"},
    NamedStrokes{'o', "C B0a0A1a2B2c2C1c0B0"},
    NamedStrokes{'-', "E A1E1"},
    NamedStrokes{'u', "E A0a2C2e2E0"},
    NamedStrokes{'"', "E B0A2 E0D2"},
    NamedStrokes{',', "C BcCecgAg"},
    NamedStrokes{';', "C CcacAeagCg"},
    NamedStrokes{'/', "E E5A8"},
    NamedStrokes{'E', "L AcF0L0 F0FcLc F6J6 C8F8"},
    NamedStrokes{'e', "M A6a4D4g4G7Gc G8D8a8AaacCcgcG9 G8M8M7m4J4g4G7G9gcJcLcMb"},
    NamedStrokes{'s', "G AcA3a0D0g0F3f5D5g5G9gcCc"},
};

bool isOneOf(std::string_view characters, char character) {
    return characters.find(character) != std::string_view::npos;
}

std::string_view markGlyph(char mark, char letter) {
    if (mark == '/' && letter == 'O') return "I I0Ac";
    if (mark == '/' && letter == 'o') return "G G4Ac";
    for (const NamedStrokes& known : kMarks) {
        if (known.name == mark) return known.strokes;
    }
    return {};
}

std::string_view plainGlyph(char letter) {
    return kGlyphs[static_cast<std::size_t>(letter) - static_cast<std::size_t>(' ')];
}

Glyph accentedGlyph(std::size_t number) {
    const char letter = kAccented[2 * number];
    const char mark = kAccented[2 * number + 1];
    if (letter == ' ') return {kBox, {}};
    const std::string_view strokes = markGlyph(mark, letter);
    if (isOneOf("Ees", mark)) return {strokes, {}};
    const bool isAbove = !isOneOf(",;/", mark);
    const bool isTall = letter < 'a' || isOneOf("dhlt", letter);
    return {letter == 'i' && isAbove ? kDotless : plainGlyph(letter), strokes,
            isAbove && isTall ? 4.0 : 0.0};
}

}  // namespace

Glyph takeGlyph(std::string_view& utf8) {
    const auto byte = [&utf8](std::size_t i) { return static_cast<std::uint8_t>(utf8[i]); };
    const std::uint32_t lead = byte(0);
    std::size_t length = 1;
    while (lead >= 0x80 && length < utf8.size() && (byte(length) & 0xC0U) == 0x80) ++length;
    const std::uint32_t codePoint = length == 2   ? (lead & 0x1FU) << 6U | (byte(1) & 0x3FU)
                                    : lead < 0x80 ? lead
                                                  : 0;
    const bool isEllipsis = utf8.starts_with(kEllipsis);
    utf8.remove_prefix(length);
    if (isEllipsis) return {kThreeDots, {}};
    if (codePoint >= ' ' && codePoint <= '~') return {plainGlyph(static_cast<char>(codePoint)), {}};
    const std::size_t number = codePoint - kFirstAccented;
    if (codePoint < kFirstAccented || number >= kAccented.size() / 2) return {kBox, {}};
    return accentedGlyph(number);
}

}  // namespace kestrocli
