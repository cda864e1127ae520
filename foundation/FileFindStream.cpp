// The streamed form of what a walk yields.
#include "foundation/FileFind.h"

#include "persistence/pstream.h"

opstream & operator<<(opstream & out, std::tm const & time) {
    return out << time.tm_sec << time.tm_min << time.tm_hour << time.tm_mday << time.tm_mon
               << time.tm_year << time.tm_wday << time.tm_yday << time.tm_isdst;
}

ipstream & operator>>(ipstream & in, std::tm & time) {
    return in >> time.tm_sec >> time.tm_min >> time.tm_hour >> time.tm_mday >> time.tm_mon >>
           time.tm_year >> time.tm_wday >> time.tm_yday >> time.tm_isdst;
}

opstream & operator<<(opstream & out, FileInfo const & info) {
    return out << info.type << info.time << info.size << info.name;
}

ipstream & operator>>(ipstream & in, FileInfo & info) {
    return in >> info.type >> info.time >> info.size >> info.name;
}
