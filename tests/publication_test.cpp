#include "metrics/publication.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

std::u16string u16(const char* s) {
    std::u16string out;
    for (; *s; ++s) out.push_back(char16_t(static_cast<unsigned char>(*s)));
    return out;
}

std::vector<std::u16string> authorsOf(const VroPublication& p) {
    std::vector<std::u16string> out;
    for (uint32_t i = 0; i < p.authorCount; ++i) out.emplace_back(p.authorList[i].name);
    return out;
}

std::vector<std::u16string> split(const std::u16string& text) {
    VroPublication p;
    EXPECT_EQ(p.Authors.assign(text.c_str()), kResultOk);
    EXPECT_EQ(p.splitAuthors(), p.authorCount);
    return authorsOf(p);
}

TEST(SplitAuthors, SplitsAtEveryCommaAndKeepsBlanksBeforeIt) {
    EXPECT_EQ(split(u"Smith, J., Jones, K."), (std::vector<std::u16string>{u"Smith", u"J.", u"Jones", u"K."}));
    EXPECT_EQ(split(u"A ,\tB"), (std::vector<std::u16string>{u"A ", u"B"}));
    EXPECT_EQ(split(u"A\uFF0CB"), (std::vector<std::u16string>{u"A", u"B"}));
    EXPECT_EQ(split(u"A,,B"), (std::vector<std::u16string>{u"A", u"B"}));
    EXPECT_EQ(split(u" , A"), (std::vector<std::u16string>{u"A"}));
    EXPECT_TRUE(split(u" \t\r\n").empty());
    EXPECT_TRUE(split(u"").empty());
}

TEST(SplitAuthors, TruncationMarkAddsOneMoreAuthor) {
    EXPECT_EQ(split(u"A, B, C\u2026"), (std::vector<std::u16string>{u"A", u"B", u"C", u"..."}));
    // A trailing comma ends the list: the truncated piece is still the last.
    EXPECT_EQ(split(u"A, B\u2026,"), (std::vector<std::u16string>{u"A", u"B", u"..."}));
    // An empty piece after it clears the mark.
    EXPECT_EQ(split(u"A, B\u2026,,"), (std::vector<std::u16string>{u"A", u"B"}));
    // A lone ellipsis is a name of its own, not a mark.
    EXPECT_EQ(split(u"A, \u2026"), (std::vector<std::u16string>{u"A", u"\u2026"}));
    // A mark on an inner piece is cleared by the next one.
    EXPECT_EQ(split(u"A\u2026, B"), (std::vector<std::u16string>{u"A", u"B"}));
}

TEST(SplitAuthors, KeepsTheFirstFiftyWithoutEllipsis) {
    std::u16string text;
    for (int i = 0; i < 60; ++i) text += (i ? u", N" : u"N") + u16(std::to_string(i).c_str());
    text += u"\u2026";
    const auto names = split(text);
    ASSERT_EQ(names.size(), 50u);
    EXPECT_EQ(names.front(), u"N0");
    EXPECT_EQ(names.back(), u"N49");
}

TEST(AddAuthor, CapsAtFiftyAndGrowsByDoubling) {
    VroPublication p;
    EXPECT_EQ(p.addAuthor(nullptr, 3), nullptr);
    EXPECT_EQ(p.addAuthor(u"abc", 0), nullptr);
    EXPECT_NE(p.addAuthor(u"abc", 2), nullptr);
    EXPECT_EQ(std::u16string(p.authorList[0].name), u"ab");
    EXPECT_EQ(p.authorList[0].extra, nullptr);
    EXPECT_EQ(p.authorCapacity, 4u);
    std::vector<uint32_t> capacities;
    for (int i = 1; i < 60; ++i) {
        const bool added = p.addAuthor(u"x", 0xFFFFFFFFu) != nullptr;
        EXPECT_EQ(added, i < 50) << i;
        if (capacities.empty() || capacities.back() != p.authorCapacity) capacities.push_back(p.authorCapacity);
    }
    EXPECT_EQ(p.authorCount, 50u);
    EXPECT_EQ(capacities, (std::vector<uint32_t>{4, 8, 16, 32, 50}));
}

TEST(JoinAuthors, JoinsWithCommaBlank) {
    VroPublication p;
    EXPECT_EQ(p.joinAuthors(), 0u);
    EXPECT_TRUE(p.Authors.empty());
    (void)p.addAuthor(u"Doe J.", 0xFFFFFFFFu);
    (void)p.addAuthor(u"Roe K.", 0xFFFFFFFFu);
    EXPECT_EQ(p.joinAuthors(), 2u);
    EXPECT_EQ(std::u16string(p.Authors.data()), u"Doe J., Roe K.");
}

TEST(NormaliseIssn, AcceptsTheThreeShapes) {
    struct Case {
        const char16_t* in;
        const char16_t* out;
        ResultCode code;
    } cases[] = {
        {u"12345678", u"1234-5678", kResultOk}, {u"1234 5678", u"1234-5678", kResultOk},
        {u"1234-5678", u"1234-5678", kResultOk}, {u"1234X5678", u"1234X5678", kErrInvalidData},
        {u"", u"", kErrInvalidData},
    };
    for (const Case& c : cases) {
        VroPublication p;
        (void)p.ISSN.assign(c.in);
        EXPECT_EQ(p.normaliseIssn(), c.code);
        EXPECT_EQ(std::u16string(p.ISSN.data()), c.out);
    }
}

TEST(DeriveAge, NeedsAYearAndRaisesAgeToOne) {
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

TEST(PublicationList, GrowsByPowersOfTwoAndClears) {
    VroPublicationList list;
    std::vector<uint32_t> capacities;
    for (int i = 0; i < 9; ++i) {
        VroPublication* p = list.add();
        ASSERT_NE(p, nullptr);
        EXPECT_EQ(p->Cites, 0u);
        EXPECT_EQ(list.at(uint32_t(i)), p);
        capacities.push_back(list.capacity());
    }
    EXPECT_EQ(capacities, (std::vector<uint32_t>{1, 2, 4, 4, 8, 8, 8, 8, 16}));
    list.clear();
    EXPECT_EQ(list.count(), 0u);
    EXPECT_EQ(list.capacity(), 0u);
    EXPECT_EQ(list.at(0), nullptr);
}

TEST(PublicationOrders, TiesGoToTheSmallerRankAndDifferencesAreSigned) {
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
        std::vector<int32_t> out;
        for (uint32_t i = 0; i < list.count(); ++i) out.push_back(list.at(i)->Rank);
        return out;
    };
    // A count above 2^31 reads as negative in the 32-bit difference.
    list.sort(kAscendingOrders[2]);
    EXPECT_EQ(ranks(), (std::vector<int32_t>{4, 1, 3, 2}));
    list.sort(kDescendingOrders[2]);
    EXPECT_EQ(ranks(), (std::vector<int32_t>{2, 1, 3, 4}));
    list.sort(kAscendingOrders[8]);  // "a" < "ab" < "b"(1) < "b"(3)
    EXPECT_EQ(ranks(), (std::vector<int32_t>{2, 1, 3, 4}));
    list.sort(kDescendingOrders[kSortKeyRank]);
    EXPECT_EQ(ranks(), (std::vector<int32_t>{4, 3, 2, 1}));
    // The calculation's rising order puts the larger rank first among ties.
    list.sortByKey([](const VroPublication& p) { return p.Cites; }, VroSortDirection::rising,
                   VroRankTies::largerFirst);
    EXPECT_EQ(ranks(), (std::vector<int32_t>{4, 3, 1, 2}));
    list.sortByKey([](const VroPublication& p) { return p.Cites; }, VroSortDirection::falling,
                   VroRankTies::smallerFirst);
    EXPECT_EQ(ranks(), (std::vector<int32_t>{2, 1, 3, 4}));
}

TEST(FieldMaskNames, NameEveryBitInOrder) {
    EXPECT_STREQ(kFieldMaskBitNames[0], "ArticleURL");
    EXPECT_STREQ(kFieldMaskBitNames[17], "ECC");
    EXPECT_STREQ(kFieldMaskBitNames[21], "Abstract");
    EXPECT_STREQ(kFieldMaskBitNames[22], "F22");
    EXPECT_STREQ(kFieldMaskBitNames[31], "F31");
}

}  // namespace
