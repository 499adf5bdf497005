// The publication record's author list, ISSN and age rules, and the list's
// growth and orders.
#include "model/publication.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/support/support.h"

namespace {

// The author list made from an Authors text, names joined by "|".
std::string split(const std::u16string& text) {
    VroPublication p;
    EXPECT_EQ(p.Authors.assign(text.data(), uint32_t(text.size())), kResultOk);
    EXPECT_EQ(p.splitAuthors(), p.authorCount);
    std::string names;
    for (uint32_t i = 0; i < p.authorCount; ++i) names += (i ? "|" : "") + vt::narrow(p.authorList[i].name);
    return names;
}

TEST(Publication, AuthorsSplitAtEveryCommaAndATruncationMarkAddsOne) {
    const struct { const char16_t* text; const char* names; } cases[] = {
        {u"Smith, J., Jones, K.", "Smith|J.|Jones|K."}, {u"A ,\tB", "A |B"},  // blanks before a comma stay
        {u"A\uFF0CB", "A|B"}, {u"A,,B", "A|B"}, {u" , A", "A"}, {u" \t\r\n", ""}, {u"", ""},
        {u"A, B, C\u2026", "A|B|C|..."}, {u"A, B\u2026,", "A|B|..."},  // a trailing comma ends the list
        {u"A, B\u2026,,", "A|B"},                                      // an empty piece after it clears the mark
        {u"A, \u2026", "A|?"},                                         // a lone ellipsis is a name
        {u"A\u2026, B", "A|B"},                                        // an inner mark is cleared by the next name
    };
    for (const auto& c : cases) EXPECT_EQ(split(c.text), c.names) << vt::narrow(c.text);
    EXPECT_EQ(split(std::u16string(u"A\0\uFF0CB", 4)), "A|B");  // a zero unit is passed over, not an end
    std::u16string sixty;
    for (int i = 0; i < 60; ++i) sixty += (i ? u", N" : u"N") + vt::wide(std::to_string(i));
    EXPECT_EQ(split(sixty + u"\u2026").substr(0, 8), "N0|N1|N2");  // the first fifty, no mark
    EXPECT_EQ(split(sixty + u"\u2026").size(), 10 * 3 + 40 * 4 - 1u);
}

TEST(Publication, AddAuthorCapsAtFiftyAndGrowsByDoubling) {
    VroPublication p;
    EXPECT_EQ(p.addAuthor(nullptr, 3), nullptr);
    EXPECT_EQ(p.addAuthor(u"abc", 0), nullptr);
    EXPECT_NE(p.addAuthor(u"abc", 2), nullptr);
    EXPECT_EQ(std::u16string(p.authorList[0].name), u"ab");
    EXPECT_EQ(p.authorList[0].extra, nullptr);
    std::vector<uint32_t> capacities{p.authorCapacity};
    std::u16string joined = u"ab";
    for (int i = 1; i < 60; ++i) {
        const std::u16string name = u"x" + vt::wide(std::to_string(i));
        EXPECT_EQ(p.addAuthor(name.c_str(), 0xFFFFFFFFu) != nullptr, i < 50) << i;
        if (i < 50) joined += u", " + name;
        if (capacities.back() != p.authorCapacity) capacities.push_back(p.authorCapacity);
    }
    EXPECT_EQ(p.authorCount, 50u);
    EXPECT_EQ(capacities, (std::vector<uint32_t>{4, 8, 16, 32, 50}));
    p.joinAuthors();  // every name still whole after the names' room grew
    EXPECT_EQ(std::u16string(p.Authors.data(), p.Authors.length()), joined);
    VroPublication none;
    EXPECT_EQ(none.joinAuthors(), 0u);
    EXPECT_TRUE(none.Authors.empty());
}

TEST(Publication, IssnShapesAndAge) {
    const struct {
        const char16_t *in, *out;
        ResultCode code;
    } cases[] = {{u"12345678", u"1234-5678", kResultOk}, {u"1234 5678", u"1234-5678", kResultOk},
                 {u"1234-5678", u"1234-5678", kResultOk}, {u"1234X5678", u"1234X5678", kErrInvalidData},
                 {u"123456789", u"123456789", kErrInvalidData}, {u"", u"", kErrInvalidData}};
    for (const auto& c : cases) {
        VroPublication p;
        (void)p.ISSN.assign(c.in);
        EXPECT_EQ(p.normaliseIssn(), c.code);
        EXPECT_EQ(std::u16string(p.ISSN.data()), c.out);
    }
    VroPublicationList list;
    VroPublication p;
    p.Year = 1599;
    p.Cites = 10;
    EXPECT_FALSE(p.deriveAge(list));
    EXPECT_EQ(p.age, 0);
    p.Year = 2000;
    list.referenceYear = 126;  // years since 1900
    EXPECT_TRUE(p.deriveAge(list));
    EXPECT_EQ(p.age, 26);
    EXPECT_EQ(p.citesPerYear100, 38u);  // 1000 / 26 = 38.46
    EXPECT_FALSE(p.deriveAge(list));    // unchanged
    list.referenceYear = 0;             // at import: provisional, raised to 1
    p.deriveAge(list);
    EXPECT_EQ(p.age, 1);
}

// A hook sees every record whole as its import ends; the texts only it reads
// go afterwards, those the list retains stay.
// Whether the list keeps records or numbers only, the hook sees each record
// whole before the texts the list keeps no more go.
TEST(PublicationList, ImportEndedHookSeesTextsTheListThenDrops) {
    for (const bool numbersOnly : {false, true}) {
        VroPublicationList list;
        if (numbersOnly)
            list.keepNumbersOnly();
        else
            list.retainTexts(kFieldTitle);
        std::vector<std::string> seen;
        auto note = [](VroPublication& p, void* context) noexcept {
            auto* texts = static_cast<std::vector<std::string>*>(context);
            texts->push_back(vt::narrow(p.AuthorIds.data() ? p.AuthorIds.data() : u""));
        };
        list.onImportEnded(note, &seen, kTextAuthorIds);
        int32_t rank = 0;
        for (const char16_t* ids : {u"scopus:1\t#0", u"orcid:2\tDoe, J"}) {
            VroPublication* p = list.add();
            ASSERT_NE(p, nullptr);
            EXPECT_NE(p->keptTexts & kTextAuthorIds, 0u);
            ASSERT_EQ(p->AuthorIds.assign(ids), kResultOk);
            ASSERT_EQ(p->Title.assign(u"T"), kResultOk);
            p->Rank = ++rank;
        }
        list.endImport();
        EXPECT_EQ(seen, (std::vector<std::string>{"scopus:1\t#0", "orcid:2\tDoe, J"})) << numbersOnly;
        if (numbersOnly) {
            ASSERT_EQ(list.numbersCount(), 2u);
            EXPECT_EQ(list.numbers()[1].Rank, 2);
            continue;
        }
        for (uint32_t i = 0; i < 2; ++i) {
            EXPECT_TRUE(list.at(i)->AuthorIds.empty());
            EXPECT_EQ(vt::narrow(list.at(i)->Title.data()), "T");
        }
    }
}

// Lists of numbers built one after the other reuse one allocation.
TEST(PublicationList, NumbersAppendedAndRestarted) {
    VroPublicationList list;
    list.keepNumbersOnly();
    const VroPublicationNumbers n{1, 2000, 1, 0, 3, 7, 7, 0, 0, 0, 0};
    for (int i = 0; i < 100; ++i) ASSERT_TRUE(list.appendNumbers(n));
    const VroPublicationNumbers* before = list.numbers();
    list.restartNumbers();
    EXPECT_EQ(list.count(), 0u);
    ASSERT_TRUE(list.appendNumbers(n));
    EXPECT_EQ(list.numbers(), before);
    EXPECT_EQ(list.numbersCount(), 1u);
    VroPublicationList records;
    EXPECT_FALSE(records.appendNumbers(n));
}

TEST(Publication, OrdersBreakTiesByRankAndReadDifferencesAsSigned) {
    VroPublicationList list;
    const struct {
        int32_t rank;
        uint32_t cites;
        const char16_t* title;
    } rows[] = {{3, 5, u"b"}, {1, 5, u"ab"}, {2, 7, u"a"}, {4, 0x90000000u, u"b"}};
    for (const auto& r : rows) {
        VroPublication* p = list.add();
        p->Rank = r.rank;
        p->Cites = r.cites;
        (void)p->Title.assign(r.title);
    }
    auto ranks = [&] {
        std::string out;
        for (uint32_t i = 0; i < list.count(); ++i) out += std::to_string(list.at(i)->Rank);
        return out;
    };
    list.sort(kAscendingOrders[2]);  // a count above 2^31 reads as negative in the 32-bit difference
    EXPECT_EQ(ranks(), "4132");
    list.sort(kDescendingOrders[2]);
    EXPECT_EQ(ranks(), "2134");
    list.sort(kAscendingOrders[8]);  // "a" < "ab" < "b"(1) < "b"(3)
    EXPECT_EQ(ranks(), "2134");
    list.sort(kDescendingOrders[kSortKeyRank]);
    EXPECT_EQ(ranks(), "4321");
    const VroPublicationKey cites = [](const VroPublication& p) { return p.Cites; };
    list.sortByKey(cites, VroSortDirection::rising, VroRankTies::largerFirst);
    EXPECT_EQ(ranks(), "4312");
    list.sortByKey(cites, VroSortDirection::falling, VroRankTies::smallerFirst);
    EXPECT_EQ(ranks(), "2134");
    VroPublicationList two;  // the shortest list that can be out of order
    for (const int32_t rank : {2, 1}) two.add()->Rank = rank;
    two.sort(kAscendingOrders[kSortKeyRank]);
    EXPECT_EQ(two.at(0)->Rank, 1);
}

}  // namespace
