// The vector of handles: elements alias, blocks move, nothing is lost or dropped twice.
#include "tavlinbase/VRefVector.h"

#include "diagnostics/TavlinError.h"
#include "persistence/mpstream.h"

#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

using namespace Tavlin;

namespace {

VRefVector numbers(int count) {
    VRefVector vector;
    for (int i = 0; i < count; ++i)
        vector.insert(VariableRef(i));
    return vector;
}

TEST(VRefVector, GrowsByItsDelta) {
    VRefVector vector;
    EXPECT_EQ(vector.getDelta(), 4);
    EXPECT_EQ(vector.getLimit(), 0);
    EXPECT_EQ(vector.insert(1), 0);
    EXPECT_EQ(vector.getLimit(), 4);
    vector.setDelta(10);
    for (int i = 1; i < 5; ++i)
        vector.insert(1);
    EXPECT_EQ(vector.getLimit(), 10);
    vector.setLimit(2);
    EXPECT_EQ(vector.getLimit(), 5) << "never below the count";
    vector.empty();
    EXPECT_EQ(vector.getCount(), 0);
    EXPECT_EQ(vector.getLimit(), 5) << "emptying keeps the room";
    vector.setLimit(0);
    EXPECT_EQ(vector.getLimit(), 0);
    EXPECT_EQ(VRefVector(3, 7).getLimit(), 3);
}

TEST(VRefVector, InsertionPastTheEndLeavesEmptyHandles) {
    VRefVector vector;
    vector.at_insert(5, VariableRef(7));
    ASSERT_EQ(vector.getCount(), 6);
    for (int i = 0; i < 5; ++i)
        EXPECT_TRUE(vector[i].isEmpty());
    EXPECT_EQ(vector[5].asINT(), 7);
    EXPECT_EQ(vector.indexOf(VariableRef()), 0) << "empty handles are equal";
    EXPECT_EQ(vector.getLimit(), 8);
}

TEST(VRefVector, ElementsAliasTheCellsPutIn) {
    VariableRef value(1);
    VRefVector vector;
    vector.insert(value);
    VRefVector copy(vector), assigned;
    assigned = vector;
    copy[0] = 2;
    EXPECT_EQ(value.asINT(), 2);
    EXPECT_EQ(assigned[0].asINT(), 2);
    vector.at_put(0, VariableRef(9));
    EXPECT_EQ(value.asINT(), 2);
    vector.fill(value);
    EXPECT_TRUE(vector[0].sharesCellWith(value));
}

TEST(VRefVector, TakesItsOwnElements) {
    VRefVector vector = numbers(4); // full: the insertion moves the array
    vector.at_insert(0, vector[3]);
    EXPECT_EQ(vector[0].asINT(), 3);
    EXPECT_TRUE(vector[0].sharesCellWith(vector[4]));
    vector.fill(vector[2]);
    for (int i = 0; i < 5; ++i)
        EXPECT_EQ(vector[i].asINT(), 1);
    VRefVector & same = vector;
    vector = same;
    EXPECT_EQ(vector.getCount(), 5);
}

TEST(VRefVector, RemovesTheFirstEqual) {
    VRefVector vector = numbers(4);
    EXPECT_EQ(vector.remove(VariableRef(2)), 2);
    EXPECT_EQ(vector.remove(VariableRef(2)), -1);
    EXPECT_EQ(vector.remove(VariableRef(1.0f)), -1);
    ASSERT_EQ(vector.getCount(), 3);
    EXPECT_EQ(vector[2].asINT(), 3);
    vector.setCount(4);
    EXPECT_TRUE(vector[3].isEmpty()) << "the slot that was freed";
}

TEST(VRefVector, ArgumentVectorsUseTheirArraysAgain) {
    for (int const count : {1, 4, 5, 8, 13, 16}) {
        void const * place;
        {
            VRefVector args;
            args.setCount(count);
            args[count - 1] = 5;
            place = &args[0];
        }
        VRefVector args;
        args.setCount(count);
        EXPECT_EQ(&args[0], place) << count;
        for (int i = 0; i < count; ++i)
            EXPECT_TRUE(args[i].isEmpty()) << count << ' ' << i;
    }
}

TEST(VRefVector, AgreesWithAModel) {
    DynamicVariablesManager const & pool = DynamicVariablesManager::Get();
    long const out = pool.getCellCount(INT) - pool.getFreeCount(INT);
    {
        VRefVector vector;
        std::vector<int> model; // -1 stands for an empty handle
        std::mt19937 random(3);
        for (int step = 0; step < 20000; ++step) {
            int const size = int(model.size());
            int const index = int(random() % unsigned(size + 1));
            switch (random() % 6) {
                case 0:
                case 1:
                    vector.at_insert(index, VariableRef(step));
                    model.insert(model.begin() + index, step);
                    break;
                case 2:
                    if (index == size)
                        break;
                    vector.at_remove(index);
                    model.erase(model.begin() + index);
                    break;
                case 3: {
                    int const target = int(random() % 40);
                    vector.setCount(target);
                    model.resize(std::size_t(target), -1);
                    break;
                }
                case 4:
                    vector.setLimit(int(random() % 40));
                    break;
                case 5: {
                    VRefVector copy(vector);
                    VRefVector moved(std::move(copy));
                    vector = moved;
                    break;
                }
            }
            ASSERT_EQ(vector.getCount(), int(model.size()));
            ASSERT_GE(vector.getLimit(), vector.getCount());
            for (int i = 0; i < vector.getCount(); ++i)
                ASSERT_EQ(vector[i].isEmpty() ? -1 : vector[i].asINT(), model[i]) << step;
        }
    }
    EXPECT_EQ(pool.getCellCount(INT) - pool.getFreeCount(INT), out);
}

std::string bytesOf(VRefVector & vector) {
    ompstream out;
    out << vector;
    char const * const data = static_cast<char const *>(out.data());
    return std::string(data, static_cast<std::size_t>(out.safe_get_position()));
}

TEST(VRefVectorStream, HasACountAndTheRecords) {
    VRefVector vector;
    vector.insert(VariableRef(258));
    vector.insert(VariableRef());
    std::string const bytes("\x02\0\0\0"
                            "\0\0\0\0\0\x02\x01\0\0"
                            "\0\xFF\xFF\xFF\xFF",
                            18);
    EXPECT_EQ(bytesOf(vector), bytes);
    VariableRef const former(1);
    VRefVector read;
    read.insert(former);
    impstream in(const_cast<char *>(bytes.data()), long(bytes.size()), GIO::ReadMode);
    in >> read;
    EXPECT_TRUE(in.good());
    ASSERT_EQ(read.getCount(), 2);
    EXPECT_EQ(read[0].asINT(), 258);
    EXPECT_TRUE(read[1].isEmpty());
    EXPECT_EQ(former.asINT(), 1) << "what is read gets new cells";
}

TEST(VRefVectorStream, AFalseCountTakesNoMoreThanWhatArrives) {
    for (char const * count : {"\xFF\xFF\xFF\x7F", "\xFF\xFF\xFF\xFF", "\0\0\0\x80"}) {
        std::string bytes(count, 4);
        for (int i = 0; i < 50; ++i)
            bytes += std::string("\0\0\0\0\0\x07\0\0\0", 9);
        VRefVector read;
        impstream in(bytes.data(), long(bytes.size()), GIO::ReadMode);
        in >> read;
        EXPECT_EQ(read.getCount(), count[3] == '\x7F' ? 50 : 0);
        EXPECT_LE(read.getLimit(), 128);
        EXPECT_EQ(in.good(), count[3] != '\x7F');
    }
}

} // namespace
