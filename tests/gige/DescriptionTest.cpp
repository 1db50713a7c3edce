// SPDX-License-Identifier: Apache-2.0
#include "Description.h"

#include "DescriptionCheck.h"
#include "Descriptions.h"
#include "MemoryPort.h"
#include "ScriptedCamera.h"
#include "VordaInfra.h"
#include "Zip.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace Vorda::Gige {
namespace {

using kestro::test::golden;
using kestro::test::goldenDescription;
using kestro::test::MemoryPort;
using kestro::test::smallDescription;
using testing::HasSubstr;

ByteView view(const std::string& text) {
    return {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()};
}

/** Puts `bytes` at 0x10000 and a URL at 0x200 that announces `sizeBytes` of them. */
void publish(MemoryPort& camera, const char* fileName, const std::string& bytes,
             std::size_t sizeBytes) {
    char url[128];
    std::snprintf(url, sizeof url, "Local:%s;10000;%zX", fileName, sizeBytes);
    camera.set(0x200, url);
    camera.set(0x10000, bytes);
}

using File = std::shared_ptr<const DescriptionFile>;

File load(RegisterPort& camera, const File& known = nullptr) {
    const auto location = locateDescription(camera);
    return location ? readDescription(camera, *location, known) : nullptr;
}

/** The text of a download, or its error. */
std::string downloaded(MemoryPort& camera) {
    const File file = load(camera);
    return file ? file->description->text() : lastErrorMessage();
}

/** The error text of a download that must fail. */
std::string downloadFailure(MemoryPort& camera) {
    EXPECT_FALSE(load(camera));
    EXPECT_EQ(static_cast<int>(Error::description), Infra::getLastError());
    return lastErrorMessage();
}

TEST(DescriptionUrl, NamesAFileInTheCamera) {
    for (const char* url : {"Local:camera.zip;10000;3e68", "local:///camera.zip;0x10000;0x3E68",
                            "LOCAL:camera.zip;10000;3e68?SchemaVersion=1.1.0"}) {
        std::string reason;
        const auto location = parseDescriptionUrl(url, reason);
        ASSERT_TRUE(location) << url << reason;
        EXPECT_EQ("camera.zip", location->fileName);
        EXPECT_EQ(0x10000u, location->address);
        EXPECT_EQ(0x3e68u, location->sizeBytes);
    }
}

TEST(DescriptionUrl, IsRefusedWithAReason) {
    const std::pair<const char*, const char*> cases[] = {
        {"", "malformed"},
        {"Local:", "malformed"},
        {"Local:a.xml", "malformed"},
        {"Local:a.xml;10000", "malformed"},
        {"Local:a.xml;10000;", "malformed"},
        {"Local:a.xml;xyz;10", "malformed"},
        {"Local:a.xml;10000;10;10", "malformed"},
        {"Local:a.xml;-1;10", "malformed"},
        {"Local:a.xml;1ffffffff;10", "malformed"},
        {"Local:a.xml;10000;0", "absurd"},
        {"Local:a.xml;10000;ffffffff", "absurd"},
        {"http://example.com/a.xml", "not in the camera"},
        {"File:///c:/a.xml", "not in the camera"},
    };
    for (const auto& [url, why] : cases) {
        std::string reason;
        EXPECT_FALSE(parseDescriptionUrl(url, reason)) << url;
        EXPECT_THAT(reason, HasSubstr(why));
        EXPECT_THAT(reason, HasSubstr(url));
    }
}

TEST(Description, IsReadPlainOrZipped) {
    const std::string xml = goldenDescription("description.xml");
    ASSERT_FALSE(xml.empty());
    for (const char* name : {"description.xml", "description.zip", "description-stored.zip"}) {
        MemoryPort camera;
        const std::string bytes = golden(name);
        publish(camera, name, bytes, bytes.size());
        EXPECT_EQ(xml, downloaded(camera));
    }
}

TEST(Description, IsRecognisedAsZippedByItsBytes) {
    MemoryPort camera;
    publish(camera, "misnamed.xml", golden("description.zip"), golden("description.zip").size());
    EXPECT_EQ(goldenDescription("description.xml"), downloaded(camera));
}

TEST(Description, MayBeFilledUp) {
    const std::string whole = smallDescription();
    for (const char filling : {'\0', '\xff', ' '}) {
        MemoryPort camera;
        publish(camera, "a.xml", whole + std::string(700, filling), whole.size() + 700);
        EXPECT_EQ(whole, downloaded(camera));
    }
}

TEST(Description, MayStandBehindTheSecondUrl) {
    MemoryPort camera;
    camera.set(0x200, "http://example.com/a.xml");
    camera.set(
        0x400, "Local:a.xml;10000;" + [] {
            char size[16];
            std::snprintf(size, sizeof size, "%zx", smallDescription().size());
            return std::string(size);
        }());
    camera.set(0x10000, smallDescription());
    EXPECT_TRUE(load(camera)) << lastErrorMessage();
}

TEST(Description, IsTheSameObjectWhileTheCameraHoldsTheSameBytes) {
    const std::string whole = smallDescription();
    MemoryPort camera;
    publish(camera, "a.xml", whole, whole.size());
    const File first = load(camera);
    ASSERT_TRUE(first) << lastErrorMessage();
    EXPECT_EQ(first, load(camera, first));
    std::string updated = whole;
    updated.replace(updated.find("Scripted"), 8, "Updated!");
    publish(camera, "a.xml", updated, updated.size());
    const File second = load(camera, first);
    ASSERT_TRUE(second) << lastErrorMessage();
    EXPECT_EQ(updated, second->description->text());
    EXPECT_EQ(whole, first->description->text());
    publish(camera, "a.xml", "no XML at all", 13);
    EXPECT_FALSE(load(camera, second));
    publish(camera, "a.xml", whole, whole.size());
    EXPECT_NE(nullptr, load(camera, second)) << lastErrorMessage();
}

TEST(Description, InAnArchiveIsKnownByTheEndOfIt) {
    const std::string whole = golden("description.zip");
    const std::size_t entry = whole.rfind("PK\1\2");
    MemoryPort camera;
    publish(camera, "a.zip", whole, whole.size());
    const File known = load(camera);
    ASSERT_TRUE(known) << lastErrorMessage();
    const std::size_t before = camera.bytesRead();
    EXPECT_EQ(known, load(camera, known));
    EXPECT_EQ(512 + whole.size() - entry, camera.bytesRead() - before);

    // What differs there is another archive, and is read in full.
    std::string other = whole;
    other[entry + 12] = static_cast<char>(other[entry + 12] ^ 1);
    publish(camera, "a.zip", other, other.size());
    const File redated = load(camera, known);
    ASSERT_TRUE(redated) << lastErrorMessage();
    EXPECT_NE(known, redated);
    EXPECT_EQ(known->description->text(), redated->description->text());

    // Nor does an end that fits say anything where the URL announces more.
    publish(camera, "a.zip", whole + whole, 2 * whole.size());
    EXPECT_NE(known, load(camera, known));
}

TEST(Description, InAnArchiveWithoutAnEndToTrustIsReadInFull) {
    std::string commented = golden("description.zip");
    commented[commented.size() - 1] = 4;  // 1,024 bytes of comment
    commented += std::string(1024, 'c');
    std::string wrongSum = golden("description.zip");
    const std::size_t sum = wrongSum.rfind("PK\1\2") + 16;
    wrongSum[sum] = static_cast<char>(wrongSum[sum] ^ 1);
    for (const std::string& archive : {commented, wrongSum}) {
        MemoryPort camera;
        publish(camera, "a.zip", archive, archive.size());
        const File known = load(camera);
        ASSERT_TRUE(known) << lastErrorMessage();
        EXPECT_EQ(goldenDescription("description.xml"), known->description->text());
        const std::size_t before = camera.bytesRead();
        EXPECT_EQ(known, load(camera, known));
        EXPECT_EQ(512 + archive.size(), camera.bytesRead() - before);
    }
}

/** Refuses, or does not answer, to read what does not begin where a block does. */
class BlockwiseCamera final : public RegisterPort {
 public:
    BlockwiseCamera(MemoryPort& memory, Error error) : memory_(memory), error_(error) {}

    bool readRegister(std::uint64_t address, std::uint32_t& value) override {
        return memory_.readRegister(address, value);
    }
    bool writeRegister(std::uint64_t, std::uint32_t) override { return false; }
    bool readMemory(std::uint64_t address, std::span<std::uint8_t> data) override {
        return address % 512 == 0 ? memory_.readMemory(address, data) : fail(error_, "scripted");
    }
    bool writeMemory(std::uint64_t, ByteView) override { return false; }

 private:
    MemoryPort& memory_;
    const Error error_;
};

TEST(Description, IsReadInFullWhereItsEndAloneIsRefused) {
    const std::string whole = golden("description.zip");
    MemoryPort memory;
    publish(memory, "a.zip", whole, whole.size());
    const File known = load(memory);
    ASSERT_TRUE(known) << lastErrorMessage();
    const std::pair<Error, bool> cases[] = {{Error::refused, true},
                                            {Error::badAnswer, true},
                                            {Error::timeout, false},
                                            {Error::connectionLost, false}};
    for (const auto& [error, isRead] : cases) {
        BlockwiseCamera camera(memory, error);
        EXPECT_EQ(isRead ? known : nullptr, load(camera, known)) << static_cast<int>(error);
    }
}

TEST(Description, IsRefusedWhenItIsNotWhole) {
    const std::string whole = smallDescription();
    const std::pair<std::string, const char*> cases[] = {
        {whole.substr(0, whole.size() / 2), "cut or no XML"},
        {whole.substr(0, whole.rfind('<')), "cut or no XML"},
        {std::string(whole).replace(whole.size() / 2, 100, 100, '\0'), "cut or no XML"},
        {"no XML at all", "cut or no XML"},
        {"<Other/>", "[Other]"},
        {std::string(64, '\0'), "no XML"},
        {golden("description.zip").substr(0, 200), "zip archive is cut"},
    };
    for (const auto& [bytes, why] : cases) {
        MemoryPort camera;
        publish(camera, "a.xml", bytes, bytes.size());
        EXPECT_THAT(downloadFailure(camera), HasSubstr(why));
    }
}

std::string replaced(std::string_view from, std::string_view to) {
    std::string text = smallDescription();
    return text.replace(text.find(from), from.size(), to);
}

/** Why the check refuses a description; empty when it does not. */
std::string faultOf(const std::string& xml) {
    std::string reason;
    return CheckedDescription::make(xml, reason) ? std::string() : reason;
}

TEST(DescriptionCheck, PassesADescriptionThatCanBeEvaluated) {
    EXPECT_EQ("", faultOf(smallDescription()));
    EXPECT_EQ("", faultOf(golden("description.xml")));
    EXPECT_EQ("", faultOf(replaced("<Length>4<", "<Length> 0x10 <")));
    // Limits of two features may well depend on each other's values.
    EXPECT_EQ("", faultOf(replaced("<Max>1</Max>", "<pMax>TLParamsLocked</pMax>")));
}

TEST(DescriptionCheck, RefusesValuesThatNeedThemselves) {
    const std::pair<const char*, const char*> cases[] = {
        {"<pValue>PayloadSizeReg</pValue>", "<pValue>PayloadSize</pValue>"},
        {"<pValue>PayloadSizeReg</pValue>", "<pValue>Payload<!-- or so -->Size</pValue>"},
        {"<Address>0xa000</Address>", "<pAddress> PayloadSize </pAddress>"},
        {"<Length>4</Length>", "<pLength>PayloadSizeReg</pLength>"},
        {"<Address>0xa000</Address>",
         "<IntSwissKnife Name=\"At\"><pVariable Name=\"P\">PayloadSize</pVariable>"
         "<Formula>P</Formula></IntSwissKnife>"},
        {"<Address>0xa000</Address>", "<pIndex pOffset=\"PayloadSize\">TLParamsLocked</pIndex>"},
        {"<Port ",
         "<StructReg><pAddress>Entry</pAddress><StructEntry Name=\"Entry\"/></StructReg><Port "},
    };
    for (const auto& [from, to] : cases)
        EXPECT_THAT(faultOf(replaced(from, to)), HasSubstr("needs itself")) << to;
}

TEST(DescriptionCheck, RefusesEntitiesOfItsOwn) {
    const std::string documentType =
        "<!DOCTYPE RegisterDescription [<!ENTITY a \"ha\"><!ENTITY b \"&a;&a;\">]>";
    for (const char* where : {"<RegisterDescription", "<Port "}) {
        std::string text = replaced(where, documentType + where);
        EXPECT_NE("", faultOf(text)) << where;
    }
    EXPECT_THAT(faultOf(documentType + "<RegisterDescription/>"), HasSubstr("document type"));
    EXPECT_NE("", faultOf(replaced("<Length>4<", "<Length>&four;<")));
}

TEST(DescriptionCheck, RefusesEndlessChains) {
    const auto chain = [](int length) {
        std::string nodes;
        for (int i = 0; i < length; ++i)
            nodes += "<Integer Name=\"N" + std::to_string(i) + "\"><pValue>N" +
                     std::to_string(i + 1) + "</pValue></Integer>";
        return replaced("<Port ", nodes + "<Port ");
    };
    EXPECT_EQ("", faultOf(chain(50)));
    EXPECT_NE("", faultOf(chain(500)));
    EXPECT_NE("", faultOf(chain(100000)));
}

TEST(DescriptionCheck, RefusesValuesThatTakeAges) {
    const auto tower = [](int levels, const std::string& kind, const std::string& content) {
        std::string nodes;
        for (int i = 0; i < levels; ++i) {
            std::string node = content;
            for (std::size_t at = 0; (at = node.find('#')) != std::string::npos;)
                node.replace(at, 1, "N" + std::to_string(i + 1));
            nodes +=
                "<" + kind + " Name=\"N" + std::to_string(i) + "\">" + node + "</" + kind + ">";
        }
        return faultOf(replaced("<Port ", nodes + "<Port "));
    };
    const std::pair<const char*, const char*> cases[] = {
        {"IntSwissKnife",
         R"(<pVariable Name="A">#</pVariable><pVariable Name="B">#</pVariable><Formula>A</Formula>)"},
        // Each limit of a converter is looked for in both of what it converts.
        {"Converter", "<FormulaTo>FROM</FormulaTo><FormulaFrom>TO</FormulaFrom><pValue>#</pValue>"},
    };
    for (const auto& [kind, content] : cases) {
        EXPECT_EQ("", tower(10, kind, content));
        EXPECT_THAT(tower(60, kind, content), HasSubstr("too many others")) << kind;
    }
}

TEST(DescriptionCheck, RefusesAbsurdLengths) {
    for (const char* length : {"0", "-5", "4000000000", "0xfffffffffffffffff", "four"}) {
        const auto xml = replaced("<Length>4<", std::string("<Length>") + length + "<");
        EXPECT_THAT(faultOf(xml), HasSubstr("[PayloadSizeReg]")) << length;
    }
}

TEST(Description, OfAnAbsurdSizeIsNotRead) {
    MemoryPort camera;
    camera.set(0x200, "Local:a.xml;10000;ffffffff");
    EXPECT_THAT(downloadFailure(camera), HasSubstr("absurd"));
    EXPECT_EQ(2 * 512u, camera.bytesRead());
}

TEST(Description, PassesTheCamerasErrorOn) {
    MemoryPort camera;
    camera.fail(Error::connectionLost);
    EXPECT_FALSE(load(camera));
    EXPECT_EQ(static_cast<int>(Error::connectionLost), Infra::getLastError());
}

TEST(Zip, SurvivesAnyDamage) {
    const std::string xml = golden("description.xml");
    for (const char* name : {"description.zip", "description-stored.zip"}) {
        const std::string whole = golden(name);
        std::string reason;
        for (std::size_t at = 0; at < whole.size(); ++at) {
            EXPECT_FALSE(unzipFirstFile(view(whole.substr(0, at)), 1 << 20, reason)) << at;
            for (const char damage : {'\0', '\x01', '\x7f', '\xff'}) {
                std::string damaged = whole;
                damaged[at] = damage;
                const auto file = unzipFirstFile(view(damaged), 1 << 20, reason);
                EXPECT_TRUE(!file || !file->isSumRight || file->text == xml) << at;
            }
        }
    }
}

TEST(Zip, RefusesAFileBeyondTheLimit) {
    const std::string archive = golden("description.zip");
    const std::size_t size = golden("description.xml").size();
    std::string reason;
    EXPECT_TRUE(unzipFirstFile(view(archive), size, reason));
    EXPECT_FALSE(unzipFirstFile(view(archive), size - 1, reason));
    EXPECT_THAT(reason, HasSubstr("too large"));
}

}  // namespace
}  // namespace Vorda::Gige
