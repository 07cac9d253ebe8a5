// SPDX-License-Identifier: GPL-3.0-or-later
#include "PnmFile.h"

#include "ImageData.h"
#include "PictureSamples.h"
#include "PictureText.h"

#include <QFile>
#include <QFileInfo>

#include <csetjmp>
#include <cstddef>
#include <cstdio>
#include <mutex>
#include <vector>

extern "C" {
#include <netpbm/pam.h>
}

namespace {

// libnetpbm keeps its error handling in global variables.
std::mutex libraryMutex;
char libraryMessage[256];

void keepMessage(const char* message) {
    std::snprintf(libraryMessage, sizeof libraryMessage, "%s", message);
}

void ignoreMessage(const char*) {}

/// Calls into libnetpbm, which leaves by longjmp when something is wrong; false then. Neither this function
/// nor call may have anything with a destructor on the stack.
template <class Context>
bool callLibrary(void (*call)(Context&), Context& context) {
    std::jmp_buf environment;
    std::jmp_buf* outer = nullptr;
    pm_setjmpbufsave(&environment, &outer);
    pm_setusererrormsgfn(&keepMessage);
    pm_setusermessagefn(&ignoreMessage);
    volatile bool done = false;
    if (setjmp(environment) == 0) {
        call(context);
        done = true;
    }
    pm_setusermessagefn(nullptr);
    pm_setusererrormsgfn(nullptr);
    pm_setjmpbuf(outer);
    return done;
}

struct HeaderCall {
    FILE* file;
    pam header;
};

void readHeader(HeaderCall& call) {
    // The members up to tuple_type; the library's own macro for that reads through a null pointer.
    constexpr int knownBytes = offsetof(pam, tuple_type) + sizeof(pam::tuple_type);
    pnm_readpaminit(call.file, &call.header, knownBytes);
}

struct RasterCall {
    const pam* header;
    SzPicBuf* picture;
    std::uint8_t* line; ///< as long as a packed line of the picture
    tuple* row;         ///< null before and after
};

void readRaster(RasterCall& call) {
    const unsigned depth = call.header->depth;
    call.row = pnm_allocpamrow(call.header);
    for (std::uint32_t y = 0; y < call.picture->height; ++y) {
        pnm_readpamrow(call.header, call.row);
        if (call.picture->dataType == EzImageDataType::UInt8) {
            std::uint8_t* target = call.line;
            for (std::uint32_t x = 0; x < call.picture->width; ++x)
                for (unsigned sample = 0; sample < depth; ++sample)
                    *target++ = static_cast<std::uint8_t>(call.row[x][sample]);
        } else {
            auto* target = reinterpret_cast<std::uint16_t*>(call.line);
            for (std::uint32_t x = 0; x < call.picture->width; ++x)
                for (unsigned sample = 0; sample < depth; ++sample)
                    *target++ = static_cast<std::uint16_t>(call.row[x][sample]);
        }
        storePixels(*call.picture, 0, y, call.picture->width, call.line);
    }
}

struct FileCloser {
    void operator()(FILE* file) const { std::fclose(file); }
};

class PnmReader : public CzPictureReader {
public:
    /// False, with the reason in problem, when it is no PNM.
    bool open(const QString& path, QString* problem) {
        const std::lock_guard lock(libraryMutex);
        m_path = path;
        m_fileBytes = QFileInfo(path).size();
        m_file.reset(std::fopen(QFile::encodeName(path).constData(), "rb"));
        if (!m_file) {
            *problem = SzPictureText::tr("cannot be opened");
            return false;
        }
        do {
            Page page;
            page.offset = ftello(m_file.get());
            const bool readable = readPageHeader(page, &page.problem);
            m_pages.push_back(page);
            if (!readable)
                break;
        } while (findNextPage());
        *problem = m_pages.front().problem;
        return problem->isEmpty();
    }

    int pageCount() const override { return static_cast<int>(m_pages.size()); }

    std::unique_ptr<CzImageData> read(int page, const SzSidecar& sidecar, QString* error) override {
        const std::lock_guard lock(libraryMutex);
        QString problem;
        std::unique_ptr<CzImageData> frame = readPage(page, sidecar, &problem);
        if (!frame && error)
            *error = SzPictureText::tr("%1, page %2: %3").arg(m_path, QString::number(page + 1), problem);
        return frame;
    }

private:
    struct Page {
        off_t offset = 0;
        std::uint64_t rasterBytes = 0; ///< at least, for plain formats
        bool isPlain = false;
        SzFileFormat format;
        QString problem; ///< why it cannot be read; empty when it can
    };

    static QString libraryProblem() { return QString::fromLocal8Bit(libraryMessage).simplified(); }

    bool readHeaderAt(off_t offset, pam& header, QString* problem) {
        HeaderCall call{m_file.get(), {}};
        if (fseeko(m_file.get(), offset, SEEK_SET) != 0 || !callLibrary(&readHeader, call)) {
            *problem = libraryProblem();
            return false;
        }
        header = call.header;
        return true;
    }

    bool readPageHeader(Page& page, QString* problem) {
        pam header{};
        if (!readHeaderAt(page.offset, header, problem))
            return false;
        const bool isRaw = header.format == RPGM_FORMAT || header.format == RPPM_FORMAT;
        page.isPlain = header.format == PGM_FORMAT || header.format == PPM_FORMAT;
        if (!isRaw && !page.isPlain) {
            *problem = SzPictureText::tr("not a grey or colour picture");
            return false;
        }
        SzFileFormat& format = page.format;
        format.width = static_cast<std::uint32_t>(header.width);
        format.height = static_cast<std::uint32_t>(header.height);
        format.channels = header.depth;
        format.dataType = header.maxval < 256 ? EzImageDataType::UInt8 : EzImageDataType::UInt16;
        for (sample rest = header.maxval; rest != 0; rest >>= 1)
            ++format.bitDepth;
        format.isColor = header.depth == 3;

        // A plain sample has at least a digit and a blank, the last one needs no blank.
        const std::uint64_t samples = std::uint64_t{format.width} * format.height * format.channels;
        page.rasterBytes = page.isPlain ? 2 * samples - 1 : format.bytes();
        if (static_cast<std::uint64_t>(ftello(m_file.get())) + page.rasterBytes > m_fileBytes) {
            *problem = SzPictureText::tr("the file is too short for %1 × %2 pixels")
                           .arg(format.width)
                           .arg(format.height);
            return false;
        }
        return true;
    }

    /// Steps over the last page's raster to the next one. What is no picture is none of ours.
    bool findNextPage() {
        FILE* file = m_file.get();
        const Page& last = m_pages.back();
        if (last.isPlain || fseeko(file, static_cast<off_t>(last.rasterBytes), SEEK_CUR) != 0)
            return false;
        const off_t offset = ftello(file);
        const int first = std::getc(file);
        const int second = std::getc(file);
        fseeko(file, offset, SEEK_SET);
        return first == 'P' && (second == '5' || second == '6');
    }

    std::unique_ptr<CzImageData> readPage(int number, const SzSidecar& sidecar, QString* problem) {
        if (number < 0 || number >= pageCount()) {
            *problem = SzPictureText::tr("there is no such page");
            return nullptr;
        }
        const Page& page = m_pages[static_cast<std::size_t>(number)];
        if (!page.problem.isEmpty()) {
            *problem = page.problem;
            return nullptr;
        }
        pam header{};
        if (!readHeaderAt(page.offset, header, problem))
            return nullptr;
        if (static_cast<std::uint32_t>(header.width) != page.format.width ||
            header.depth != page.format.channels ||
            static_cast<std::uint32_t>(header.height) != page.format.height) {
            *problem = SzPictureText::tr("the file has changed");
            return nullptr;
        }
        std::unique_ptr<CzImageData> frame = makeFrame(page.format, sidecar, problem);
        if (!frame)
            return nullptr;
        std::vector<std::uint16_t> line(std::size_t{page.format.width} * page.format.channels);
        RasterCall call{&header, &frame->picBuf(), reinterpret_cast<std::uint8_t*>(line.data()), nullptr};
        const bool done = callLibrary(&readRaster, call);
        if (call.row)
            pnm_freepamrow(call.row);
        if (!done) {
            *problem = libraryProblem();
            return nullptr;
        }
        return frame;
    }

    QString m_path;
    std::uint64_t m_fileBytes = 0;
    std::unique_ptr<FILE, FileCloser> m_file;
    std::vector<Page> m_pages;
};

} // namespace

std::unique_ptr<CzPictureReader> openPnm(const QString& path, QString* problem) {
    auto reader = std::make_unique<PnmReader>();
    return reader->open(path, problem) ? std::move(reader) : nullptr;
}
