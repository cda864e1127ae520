// The streamed form of a list of objects: a dword count and the references, null for no object.
#pragma once

#include "persistence/pstream.h"
#include "tavlinbase/TRefVector.h"
#include "tavlinbase/TavlinObject.h"

namespace Tavlin {

template <class T>
void writeObjects(opstream & out, TRefVector<T> const & objects) {
    out.writeDWord(static_cast<unsigned long>(objects.getCount()));
    for (long i = 0; i < objects.getCount(); ++i)
        out.writePointer(objects.at(i).pointer());
}

/// Replaces what `objects` holds; what is no T leaves a null in its place. A count beyond what the
/// stream holds ends with the stream.
template <class T>
void readObjects(ipstream & in, TRefVector<T> & objects) {
    objects.empty();
    for (unsigned long count = in.readDWord(); count > 0 && in.good(); --count) {
        ObjectCreator creator(in);
        TRef<Object> const object(static_cast<Object *>(creator));
        objects.expand();
        objects.insert(gcast_cached<T>(object.pointer()));
    }
}

} // namespace Tavlin
