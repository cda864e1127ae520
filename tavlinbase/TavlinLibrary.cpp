// References to objects in library files, and the forms in which composites write their children.
#include "tavlinbase/TavlinLibrary.h"

#include "diagnostics/TavlinError.h"
#include "persistence/pstream.h"
#include "tavlinbase/LibraryCatalogue.h"
#include "tavlinbase/TavlinObject.h"

#include <memory>

namespace Tavlin {

G_DEFINE_CREATABLE(BookMark, "Tavlin::BookMark", RefCounter)
G_DEFINE_CREATABLE(IBookMark, "Tavlin::IBookMark", AUnknown)
G_DEFINE_CLASS(IDynamicDataReadWrite, "Tavlin::IDynamicDataReadWrite", AUnknown)

constinit BookMarkRedirection * BookMark::g_pRedirect = nullptr;

namespace {

TRef<Object> fromCatalogue(GFile const & file, NameLinkID name) {
    return LibraryCatalogue::Get(file)->get(name);
}

constinit BookMark::Retriever g_retriever = &fromCatalogue;

} // namespace

BookMarkRedirection::BookMarkRedirection(bool active) {
    if (active)
        activate();
}

BookMarkRedirection::~BookMarkRedirection() {
    deactivate();
}

void BookMarkRedirection::activate() {
    BookMark::g_pRedirect = this;
}

void BookMarkRedirection::deactivate() {
    if (BookMark::g_pRedirect == this)
        BookMark::g_pRedirect = nullptr;
}

void BookMark::SetRetriever(Retriever retriever) {
    g_retriever = retriever ? retriever : &fromCatalogue;
}

void BookMark::setPath(GFile const & file, NameLinkID name) {
    file_ = file;
    name_ = name;
}

TRef<Object> BookMark::retrieveObject() const {
    return g_retriever(file_, name_);
}

bool BookMark::exist() const {
    return retrieveObject().pointer() != nullptr;
}

void BookMark::write(opstream & out) {
    out.writeByte(0);
    out << (g_pRedirect ? GFile(g_pRedirect->mapFile(*this)) : file_);
    out << name_;
}

void BookMark::read(ipstream & in) {
    in.readByte();
    in >> file_;
    in >> name_;
}

void IBookMark::setPath(TRef<BookMark> const & mark) {
    mark_ = mark;
}

void IBookMark::setPath(GFile const & file, NameLinkID name) {
    mark_ = TRef<BookMark>(new BookMark(file, name));
}

NameLinkID IBookMark::getCompareKey() const {
    return mark_ ? mark_->getName() : NameLinkID();
}

void IBookMark::write(opstream & out) {
    out.writeByte(0);
    AUnknown::write(out);
    RefCounterWrite(out, TRef<RefCounter>(mark_.pointer()));
    out.writeDWord(flags_);
}

void IBookMark::read(ipstream & in) {
    in.readByte();
    AUnknown::read(in);
    mark_ = TRef<BookMark>(gcast<BookMark>(RefCounterRead(in, &BookMark::metaclass_).pointer()));
    flags_ = in.readDWord();
}

namespace {

TRef<IDynamicDataReadWrite> dynamicDataOf(TRef<Object> const & object) {
    return object->queryInterface<IDynamicDataReadWrite>();
}

} // namespace

void LWRITE_RESOURCE(opstream & out, TRef<Object> const & object, bool writeDynamic) {
    TRef<IBookMark> const mark = object ? object->queryInterface<IBookMark>() : TRef<IBookMark>();
    if (!mark) {
        out.writeByte(0);
        RefCounterWrite(out, TRef<RefCounter>(object.pointer()));
        return;
    }
    out.writeByte(1);
    RefCounterWrite(out, TRef<RefCounter>(mark->getMark().pointer()));
    if ((mark->getFlags() & IBookMark::Shared) != 0)
        return;
    TRef<IDynamicDataReadWrite> const dynamic =
        writeDynamic ? dynamicDataOf(object) : TRef<IDynamicDataReadWrite>();
    out.writeByte(dynamic ? 1 : 0);
    if (dynamic)
        dynamic->writeDynamic(out);
}

TRef<Object> LREAD_RESOURCE(ipstream & in) {
    if (in.readByte() == 0) {
        ObjectCreator creator(in);
        return TRef<Object>(static_cast<Object *>(creator));
    }
    TRef<BookMark> const mark(gcast<BookMark>(RefCounterRead(in, &BookMark::metaclass_).pointer()));
    // The next object of the same bookmark refers to it, and nobody else holds it until then.
    if (mark && in.lastPointerMarker() == ipstream::NewObject)
        in.keep(std::make_shared<TRef<BookMark>>(mark));
    TRef<Object> const object = mark ? mark->retrieveObject() : TRef<Object>();
    if (!object)
        throw Error("tavlinbase/TavlinLibrary", __LINE__,
                    "Could not retrieve object from library! (%s)",
                    mark ? mark->getName().c_str() : "");
    TRef<IBookMark> const own = object->queryInterface<IBookMark>();
    if (own && (own->getFlags() & IBookMark::Shared) != 0)
        return object;
    if (in.readByte() != 0)
        if (TRef<IDynamicDataReadWrite> const dynamic = dynamicDataOf(object))
            dynamic->readDynamic(in);
    return object;
}

void LWRITE_INTERFACE(opstream & out, TRef<AUnknown> const & iface, bool writeDynamic) {
    LWRITE_RESOURCE(out, iface ? iface->getObject() : TRef<Object>(), writeDynamic);
}

} // namespace Tavlin
