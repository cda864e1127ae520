// The message table. Its numbers are part of the interface: exceptions, hosts and translations
// refer to a text by its number. Some texts are lists with '|' between the alternatives.
#include "foundation/GException.h"

#include <algorithm>
#include <cstring>
#include <iterator>

namespace {

struct Message {
    unsigned int id;
    char const * text;
};

constexpr Message messages[] = {
    {1, "Out of memory"},
    {2, "GCollection : index (%li) is out of range (%li-%li)"},
    {3, "Class with name '%s' already exists"},
    {4, "Can't find object with index=%lu. Class= %s. Position=%li"},
    {5, "Invalid pointer stream marker = %i . Position=%li"},
    {6, "Invalid prefix in stream. Position=%li"},
    {7, "Unknown streamable class '%s'"},
    {8, "Invalid suffix in stream. Position=%li. Class=%s"},
    {9, "Abstract class = %s"},
    {10, "Unsupported old prefix in stream"},
    {11, "Unsupported old version '%u' of class '%s'"},
    {12, "Can't read class '%s' as '%s'. Position=%li"},
    {13, "GFile : invalid index"},
    {14, "Write error|Read error|End of file reached|Unrecognized read/write error"},
    {15, "TGVector : index (%li) is out of range (%li-%li)"},
    {16, "File %s not found"},
    {17, "Invalid file format"},
    {18, "Unsupported CEL format"},
    {19, "Normal to plane has zero length"},
    {20, "Invalid Matrix sizes"},
    {21, "Matrices are not multiplyable"},
    {22, "Not square matrix"},
    {23, "Singular FMatrix"},
    {24, "Different sizes in Matrix"},
    {25, "Matrix : index (%li) is out of range (%li-%li)"},
    {26, "Vector in focus"},
    {27, "Singular Matrix2D"},
    {28, "Singular Matrix3D"},
    {29, "Vector in focus!\nVector=%lf %lf %lf\nMatrix=\n%lf %lf %lf %lf\n%lf %lf %lf %lf\n%lf %lf "
         "%lf %lf\n%lf %lf %lf %lf\n"},
    {30, "ZBF : incorrect version|ZBF : header error|ZBF : read error|ZBF : write error|ZBF : "
         "incorrect size|ZBF : unknown error"},
    {32, "Windows Bitmap (*.bmp;*.dib)|*.bmp;*.dib|"},
    {33, "TIFF (*.tif;*.tiff)|*.tif;*.tiff|"},
    {34, "Compuserve GIF (*.gif)|*.gif|"},
    {35, "Autodesk CEL (*.cel)|*.cel|"},
    {36, "JPEG (*.jpg;*.jpeg)|*.jpg;*.jpeg|"},
    {37, "Paintbrush PCX (*.pcx)|*.pcx|"},
    {38, "Macintosh PICT (*.pic;*.pict)|*.pic;*.pict|"},
    {39, "Targa (*.tga)|*.tga|"},
    {40, "ZBuffer  (*.zbf;*.zbff)|*.zbf;*.zbff|"},
    {41, "Compressor Error"},
    {42, "Compressor failed to write AVI file!"},
    {43, "Amiga IFF (*.iff)|*.iff|"},
    {44, "AVI files (*.avi)|*.avi|"},
    {45, "Autodesk FLIC (*.fli;*.flc)|*.fli;*.flc|"},
};

} // namespace

unsigned int GLoadMessage(unsigned int id, char * buffer, unsigned int size, void *) {
    auto const found = std::find_if(std::begin(messages), std::end(messages),
                                    [id](Message const & message) { return message.id == id; });
    if (found == std::end(messages) || size == 0)
        return 0;
    auto const length =
        static_cast<unsigned int>(std::min<std::size_t>(std::strlen(found->text), size - 1));
    std::memcpy(buffer, found->text, length);
    buffer[length] = '\0';
    return length;
}
