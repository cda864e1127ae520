// Arrays as objects: their elements, the walk, the copy, and the bytes.
#include "tavlinbase/VRefArray.h"

#include "diagnostics/TavlinError.h"
#include "persistence/mpstream.h"

#include <gtest/gtest.h>

#include <initializer_list>
#include <string>
#include <vector>

using namespace Tavlin;

namespace vref_array_test {

class NoArray : public UniqueObject {
    G_DECLARE_CLASS(NoArray)
  public:
    NoArray() = default;
};

} // namespace vref_array_test

G_DEFINE_CLASS(vref_array_test::NoArray, "va::NoArray", Tavlin::UniqueObject)

namespace vref_array_test {

TRef<WritableVRefArray> arrayOf(std::initializer_list<VariableRef> values) {
    TRef<WritableVRefArray> array = WritableVRefArray::Create();
    for (VariableRef const & value : values)
        array->insert(value);
    return array;
}

void expectSame(TRef<WritableVRefArray> const & a, TRef<WritableVRefArray> const & b) {
    ASSERT_EQ(a->getCount(), b->getCount());
    for (int i = 0; i < a->getCount(); ++i)
        EXPECT_EQ(a->getItem(i), b->getItem(i)) << i;
}

TEST(VRefArray, IsBuiltByItsClassAndIsItsOwnInterface) {
    TRef<WritableVRefArray> const array = WritableVRefArray::Create();
    ASSERT_TRUE(array);
    EXPECT_STREQ(array->getClassName(), "Tavlin::WritableVRefArray");
    EXPECT_EQ(array->queryInterface<IVRefArray>().pointer(),
              static_cast<IVRefArray *>(array.pointer()));
    EXPECT_EQ(static_cast<RefCounter *>(array.pointer())->getReferenceCount(), 1);
}

TEST(VRefArray, ItemsAreAliases) {
    VariableRef member(1);
    TRef<WritableVRefArray> const array = arrayOf({member, VariableRef(2)});
    array->getItem(0) = 5;
    EXPECT_EQ(member.asINT(), 5);
    array->setItem(0, VariableRef(6));
    EXPECT_EQ(member.asINT(), 6) << "a write into the element's cell";
    array->setItem(0, VariableRef("text"));
    EXPECT_EQ(member.asINT(), 6) << "which it cannot hold";
    EXPECT_STREQ(array->getItem(0), "text");
    (*array)[1] = 3;
    EXPECT_EQ(array->getItem(1).asINT(), 3);
}

// Native code may put an argument in, which a script has written as a constant.
TEST(VRefArray, ItemsOnAConstantAreAliasesToo) {
    VariableRef constant("five");
    constant.setConstant();
    TRef<WritableVRefArray> const array = arrayOf({constant});
    array->getItem(0) = "eight";
    EXPECT_STREQ(array->getItem(0), "eight");
    EXPECT_STREQ(constant, "five");
}

TEST(VRefArray, IndicesOutOfRangeDoNothing) {
    TRef<WritableVRefArray> const array = arrayOf({1, 2});
    for (int const index : {-1, 2, 1 << 30}) {
        EXPECT_TRUE(array->getItem(index).isEmpty());
        array->setItem(index, VariableRef(9));
        array->atRemove(index);
    }
    array->atInsert(-1, VariableRef(9));
    expectSame(array, arrayOf({1, 2}));
}

TEST(VRefArray, FindsByKindAndValue) {
    TRef<WritableVRefArray> const array = arrayOf({1.0f, "1", 1, 1});
    EXPECT_EQ(array->indexOf(VariableRef(1)), 2);
    EXPECT_EQ(array->indexOf(VariableRef(2)), -1);
    EXPECT_EQ(array->remove(VariableRef(1)), 2);
    EXPECT_EQ(array->remove(VariableRef(2)), -1);
    expectSame(array, arrayOf({1.0f, "1", 1}));
}

TRef<WritableVRefArray> sample(int n) {
    switch (n) {
        case 0:
            return arrayOf({});
        case 1:
            return arrayOf({1});
        case 2:
            return arrayOf({2, 3, 4});
        default:
            return arrayOf({"a", 5, Vector2D(1, 2), 7, VariableRef()});
    }
}

TEST(VRefArray, CopyMakesEqual) {
    for (int from = 0; from < 4; ++from)
        for (int to = 0; to < 4; ++to) {
            TRef<WritableVRefArray> const source = sample(from), target = sample(to);
            target->copy(source);
            expectSame(target, source);
            expectSame(source, sample(from));
        }
    TRef<WritableVRefArray> const target = arrayOf({1, 2});
    VariableRef const first = target->getItem(0);
    target->copy(arrayOf({5}));
    EXPECT_EQ(first.asINT(), 5) << "elements that are there are written, not replaced";
    target->copy(target);
    expectSame(target, arrayOf({5}));
    target->copy(TRef<Object>(new NoArray));
    EXPECT_EQ(target->getCount(), 0);
}

TEST(VRefArrayIterator, WalksAndStaysAtTheEnd) {
    TRef<WritableVRefArray> const array = arrayOf({10, 11, 12});
    int expected = 0;
    VRefArrayIterator i{TRef<Object>(array)};
    EXPECT_EQ(i.getCount(), 3);
    for (; i; ++i, ++expected) {
        EXPECT_EQ(i.counter(), expected);
        EXPECT_EQ(i->asINT(), 10 + expected);
        i.get() = 20 + expected;
    }
    EXPECT_EQ(expected, 3);
    expectSame(array, arrayOf({20, 21, 22}));
    ++i;
    EXPECT_EQ(i.counter(), 3);
    EXPECT_EQ(i.get().asINT(), 22) << "the last cell";
    i.first();
    VRefArrayIterator j(i);
    ++j;
    EXPECT_EQ(i.get().asINT(), 20);
    EXPECT_EQ(j.get().asINT(), 21);
    j.fromObject(TRef<Object>(array));
    EXPECT_EQ(j.counter(), -1) << "in front of the first";
}

TEST(VRefArrayIterator, IsEmptyWithoutAnArray) {
    EXPECT_TRUE(VRefArrayIterator(TRef<Object>(new NoArray)).isEmpty());
    EXPECT_TRUE(VRefArrayIterator(TRef<Object>()).isEmpty());
    EXPECT_TRUE(VRefArrayIterator(TRef<IVRefArray>()).isEmpty());
    EXPECT_TRUE(VRefArrayIterator().isEmpty());
    EXPECT_TRUE(VRefArrayIterator(TRef<Object>(arrayOf({}))).isEmpty());
}

constexpr char const * className = "Tavlin::WritableVRefArray"; // 25 characters

/// An array in a stream: `versions` are those of the array, of its object part and of its
/// interface part.
std::string frame(std::string const & versions, std::string const & owner,
                  std::string const & vector) {
    std::string const head = std::string("\xB1\xB5\x0F\xCF\x19\0", 6) + className;
    std::string const body = versions.substr(0, 2) + std::string(4, '\0') + versions.substr(2) +
                             std::string("\x01", 1) + owner + vector;
    std::string const end("\xEF\x80\x4A\x29", 4);
    int const length = int((head + body + end).size());
    return '\x02' + head + body + end + char(length) + std::string(3, '\0') +
           std::string("\x19\0", 2) + className;
}

TEST(VRefArrayStream, HasItsBytesAndComesBack) {
    std::string const elements("\x02\0\0\0"
                               "\0\0\0\0\0\x05\0\0\0"
                               "\0\x02\0\0\0\x01\0x",
                               21);
    std::string const versions("\0\x02\0", 3);
    // Not attached, it names no owner; once it was asked for its interface, it names itself.
    struct {
        bool asked;
        std::string owner;
    } const cases[] = {{false, std::string("\0", 1)}, {true, std::string("\x01\x01\0", 3)}};
    for (auto const & item : cases) {
        TRef<WritableVRefArray> const array = arrayOf({5, "x"});
        if (item.asked)
            array->queryInterface<IVRefArray>();
        ompstream out;
        out.writePointer(array.pointer());
        char const * const data = static_cast<char const *>(out.data());
        std::string const bytes(data, static_cast<std::size_t>(out.safe_get_position()));
        EXPECT_EQ(bytes, frame(versions, item.owner, elements)) << item.asked;

        std::string source = frame(versions, item.owner, elements);
        impstream in(source.data(), long(source.size()), GIO::ReadMode);
        ObjectCreator creator(in);
        TRef<WritableVRefArray> const read(
            gcast<WritableVRefArray>(static_cast<Object *>(creator)));
        ASSERT_TRUE(read);
        EXPECT_TRUE(in.good());
        expectSame(read, array);
        EXPECT_EQ(static_cast<RefCounter *>(read.pointer())->getReferenceCount(), 1);
        EXPECT_FALSE(VRefArrayIterator(TRef<Object>(read)).isEmpty());
    }
}

TEST(VRefArrayStream, UnknownVersionsRaise) {
    for (std::string const & versions :
         {std::string("\x01\x02\0", 3), std::string("\0\x02\x01", 3)}) {
        std::string source = frame(versions, std::string("\0", 1), std::string("\0\0\0\0", 4));
        impstream in(source.data(), long(source.size()), GIO::ReadMode);
        EXPECT_THROW(
            {
                try {
                    ObjectCreator creator(in);
                } catch (...) {
                    for (long i = 0; i < in.getObjectCount(); ++i)
                        delete in.getObject(i);
                    throw;
                }
            },
            XStrVer);
    }
}

} // namespace vref_array_test
