/* libmoxcodec: reads, writes, transcodes and compares picture files (JPEG, JPEG 2000, PNG, PPM, PGM, PAM, PBM, PGX,
 * BMP, TIFF).
 *
 *   probe, describe             moxcProbe, moxcDescribe
 *   file to pixels              moxcDecode (a picture of the library's), moxcDecodeInto (the caller's memory),
 *                               moxcDecodeRows (a callback)
 *   pixels to file              moxcEncode, or rows as they come: moxcEncoderOpen, moxcEncoderRows, moxcEncoderFinish
 *   file to file                moxcConvert; moxcConvertPlanes; moxcTranscode (JPEG without loss)
 *   two files                   moxcCompare
 *
 * Every function that can fail returns a MoxcKind, which is moxcOk (0) on success, and takes a report, which may be
 * NULL, for the rest: the text of the error, whether the picture is complete, warning and notes.
 *
 * Options, limits and pixels are structs that begin with their own size. Fill them with the Init function, or with
 * zeros and structSize = sizeof: zero, NULL or "" always means "not given". A program that was compiled with an older
 * header works with a newer library, which treats the fields that the program does not know as not given. Fields that a
 * library does not know must be zero, otherwise it answers moxcBadOption. An option that has no effect on the format in
 * question is refused (moxcBadOption), never ignored. What the library fills in (MoxcFacts, MoxcComparison ...) is cut
 * to the structSize that the caller has set.
 *
 * The library has no global state. Functions may be called from any thread; an object (report, picture, encoder,
 * description) may be used by one thread at a time. No C++ exception leaves the library, and none may leave a callback.
 * It sets no signal handlers, prints nothing and does not end the process. It does not start threads unless MoxcRun
 * says so. Texts are UTF-8 without line breaks, unless said otherwise.
 */
#ifndef MOXCODEC_H
#define MOXCODEC_H

#include <stddef.h>
#include <stdint.h>
#include <string.h>

#ifdef __cplusplus
extern "C" {
#endif

#if defined(_WIN32) && !defined(MOXCODEC_STATIC)
#ifdef MOXCODEC_BUILD
#define MOXC_API __declspec(dllexport)
#else
#define MOXC_API __declspec(dllimport)
#endif
#elif defined(__GNUC__)
#define MOXC_API __attribute__((visibility("default")))
#else
#define MOXC_API
#endif

/* The functions that fill structs are compiled into the program, because the size of a struct is that of the program's
 * header. */
#if defined(__cplusplus) || (defined(__STDC_VERSION__) && __STDC_VERSION__ >= 199901L)
#define MOXC_INLINE static inline
#elif defined(__GNUC__)
#define MOXC_INLINE static __inline__ __attribute__((unused))
#else
#define MOXC_INLINE static
#endif

/* ---- Results ----------------------------------------------------------------------------------------------------- */

/* What kind of problem a function met. */
typedef enum {
  moxcOk = 0,
  moxcNotThisFormat = 1, /* the input is not a file of any known format, or of the one that is needed */
  moxcDamaged = 2,       /* it is damaged beyond use, or violates its standard */
  moxcUnsupported = 3,   /* its kind is not supported, or the output format cannot hold it */
  moxcInput = 4,         /* it cannot be read */
  moxcBadOption = 5,     /* an option does not fit the picture or the format, or has an impossible value */
  moxcLimit = 6,         /* more than a limit allows */
  moxcNoMemory = 7,
  moxcOutput = 8,       /* the output cannot be written */
  moxcCancelled = 9,    /* by a callback */
  moxcBadArgument = 10, /* a null pointer where one is needed, a structSize too small, pixels that make no sense */
  moxcInternal = 11     /* a bug in the library */
} MoxcKind;

/* "ok", "not this format", "damaged" ...; never NULL. */
MOXC_API const char* moxcKindName(MoxcKind kind);

/* What the caller can change so that the same picture is accepted. */
typedef enum {
  moxcAdviceNone = 0,
  moxcAdviceMaxPixels = 1,        /* MoxcLimits.maxPixels */
  moxcAdviceMaxMemory = 2,        /* MoxcLimits.maxMemory */
  moxcAdviceMaxMemoryOrTiles = 3, /* the same, or tiles, which need less */
  moxcAdviceMaxScans = 4,         /* MoxcLimits.maxScans */
  moxcAdviceOptimize = 5,         /* MoxcWriteOptions.optimize */
  moxcAdviceOption = 6            /* the option that moxcReportOption() names */
} MoxcAdvice;

/* How a call went. Each call that gets a report first clears it. */
typedef struct MoxcReport MoxcReport;

/* NULL: no memory. */
MOXC_API MoxcReport* moxcReportNew(void);
MOXC_API void moxcReportFree(MoxcReport* report);
/* What the call returned. The functions that read a report take NULL for one of a call without anything to tell. */
MOXC_API MoxcKind moxcReportKind(const MoxcReport* report);
/* The cause in a few words, without capital letter and full stop; "" if there is none. All texts live until the report
 * is used again. */
MOXC_API const char* moxcReportText(const MoxcReport* report);
MOXC_API MoxcAdvice moxcReportAdvice(const MoxcReport* report);
/* The field of an options struct that text and advice are about, such as "quality"; "" if there is none. */
MOXC_API const char* moxcReportOption(const MoxcReport* report);
/* The path of the target that cannot be written (moxcOutput); "" if the text is about something else. */
MOXC_API const char* moxcReportPath(const MoxcReport* report);
/* 0: part of the picture is missing or wrong, for the reason in the warning, because the input is damaged. The call
 * succeeded all the same. */
MOXC_API int moxcReportComplete(const MoxcReport* report);
MOXC_API const char* moxcReportWarning(const MoxcReport* report); /* "" if complete */
/* What was left out by design: opacity, bits beyond the depth of the output. */
MOXC_API size_t moxcReportNoteCount(const MoxcReport* report);
MOXC_API const char* moxcReportNote(const MoxcReport* report, size_t index); /* "" if there is no such note */

/* ---- Limits, threads, progress ----------------------------------------------------------------------------------- */

typedef struct {
  size_t structSize;
  uint64_t maxPixels; /* width x height, and blocks in all scans of a progressive JPEG file, of which 4194304 are always
                       * allowed; 0: 268435456 */
  uint64_t maxMemory; /* bytes that a call may hold, counted before they are allocated; 0: 1073741824. The code of a
                       * JPEG 2000 picture in one tile without loss that does not fit goes into a temporary file without
                       * a name, in TMPDIR or /var/tmp */
  int32_t maxScans;   /* of a JPEG file; 0: 500 */
} MoxcLimits;

/* Runs task(argument, index) for each index below `tasks`, on any threads and in any order, and returns when all have
 * returned. */
typedef void (*MoxcExecutor)(void* context, int32_t tasks, void (*task)(void* argument, int32_t index), void* argument);

/* Returns 0 to go on, anything else to cancel: the call then ends with moxcCancelled. It is called at a moderate rate,
 * always from the thread that called the library. Each step of a call that has several runs
 * from 0 to total: reading, coding a picture that was collected, comparing. */
typedef int (*MoxcProgress)(void* context, uint64_t done, uint64_t total);

/* How a call runs. NULL instead of it: one thread, default limits, no progress. */
typedef struct {
  size_t structSize;
  const MoxcLimits* limits; /* NULL: the defaults */
  int32_t threads;          /* 1 to 1024; 0: 1. The result does not depend on it */
  MoxcExecutor executor;    /* the caller's threads instead of the library's; called with at most `threads` tasks */
  void* executorContext;
  MoxcProgress progress; /* NULL: none */
  void* progressContext;
} MoxcRun;

/* ---- Inputs and outputs ------------------------------------------------------------------------------------------ */

/* Reads at most `size` bytes to `to`; returns their number, 0 at the end, negative on failure. */
typedef ptrdiff_t (*MoxcRead)(void* context, void* to, size_t size);

/* One of bytes, path and read must be given. */
typedef struct {
  size_t structSize;
  const void* bytes; /* a file in memory */
  size_t byteCount;
  const char* path; /* the name of a file */
  MoxcRead read;    /* a stream */
  void* context;
} MoxcSource;

MOXC_INLINE MoxcSource moxcMemorySource(const void* bytes, size_t byteCount) {
  MoxcSource source;
  memset(&source, 0, sizeof source);
  source.structSize = sizeof source;
  source.bytes = bytes;
  source.byteCount = byteCount;
  return source;
}
MOXC_INLINE MoxcSource moxcFileSource(const char* path) {
  MoxcSource source = moxcMemorySource(NULL, 0);
  source.path = path;
  return source;
}
MOXC_INLINE MoxcSource moxcStreamSource(MoxcRead read, void* context) {
  MoxcSource source = moxcMemorySource(NULL, 0);
  source.read = read;
  source.context = context;
  return source;
}

/* Takes the next bytes of a file, all of them; returns 0, or anything else on failure. */
typedef int (*MoxcWrite)(void* context, const void* bytes, size_t size);

/* What becomes of the temporary file of a target that is given by path. */
typedef enum {
  moxcTemporaryCreating = 1, /* it is about to be created */
  moxcTemporaryCreated = 2,  /* it has been created, or could not be */
  moxcTemporaryGone = 3      /* it has become the target, or is removed, or was never there: always the last one */
} MoxcTemporaryState;

/* For programs that remove the temporary file if a signal ends them. Called by the thread that called the library. */
typedef void (*MoxcTemporary)(void* context, MoxcTemporaryState state, const char* path);

/* One of bytes, path and write must be given. */
typedef struct {
  size_t structSize;
  void** bytes; /* set to memory that the library allocates, for moxcFree(); NULL on failure */
  size_t* byteCount;
  const char* path; /* a file that is there when it is complete: it is written under a temporary name beside it, which
                     * is removed on failure, and replaces an existing file. It is not created before its first bytes */
  MoxcWrite write;  /* a stream; what it got before a failure is of no use */
  void* context;
  int32_t keepExisting;           /* of a path: 1: an existing file is not replaced, which is refused before any work,
                                   * and also if it appears meanwhile (moxcOutput) */
  MoxcTemporary temporaryChanged; /* of a path; NULL: none */
  void* temporaryContext;
} MoxcTarget;

MOXC_INLINE MoxcTarget moxcMemoryTarget(void** bytes, size_t* byteCount) {
  MoxcTarget target;
  memset(&target, 0, sizeof target);
  target.structSize = sizeof target;
  target.bytes = bytes;
  target.byteCount = byteCount;
  return target;
}
MOXC_INLINE MoxcTarget moxcFileTarget(const char* path) {
  MoxcTarget target = moxcMemoryTarget(NULL, NULL);
  target.path = path;
  return target;
}
MOXC_INLINE MoxcTarget moxcStreamTarget(MoxcWrite write, void* context) {
  MoxcTarget target = moxcMemoryTarget(NULL, NULL);
  target.write = write;
  target.context = context;
  return target;
}

/* For what the library allocated and the caller owns. NULL is allowed. */
MOXC_API void moxcFree(void* bytes);

/* ---- Formats ----------------------------------------------------------------------------------------------------- */

/* A format has a name, which is also a file name extension: "jpg", "jp2", "j2k" (a codestream without boxes), "png",
 * "ppm", "pgm", "pnm" (PPM for colour, PGM for grey), "pam", "pbm", "pgx", "bmp", "tif", "raw" and "rawl" (samples
 * alone, the highest or the lowest byte first). */
typedef struct {
  size_t structSize;
  const char* name;
  const char* label;      /* "JPEG 2000" */
  const char* extensions; /* all names, separated by spaces, the first is `name` */
  int32_t coded;          /* 1: a compressed format (jpg, jp2, j2k), 0: a format of plain samples */
  int32_t writeOnly;      /* 1: files of it are not read */
} MoxcFormat;

/* How many there are. */
MOXC_API size_t moxcFormatCount(void);
/* moxcBadArgument if there is no such format. The texts live as long as the library. */
MOXC_API MoxcKind moxcFormatAt(size_t index, MoxcFormat* format);
/* The name of the format that a name or an extension stands for, regardless of case ("JPEG": "jpg"); NULL if none. */
MOXC_API const char* moxcFormatNamed(const char* name);
/* By the extension of a path; NULL if it is not a known one. */
MOXC_API const char* moxcFormatOfPath(const char* path);

/* Recognises a file by its first bytes. *format becomes the name of its format ("pnm" for PPM and PGM), or NULL. */
MOXC_API MoxcKind moxcProbe(const MoxcSource* source, const char** format, MoxcReport* report);

/* ---- Metadata ---------------------------------------------------------------------------------------------------- */

/* What a file says beside its pixels, as blocks of bytes. They travel from file to file by moxcConvert(), from a file
 * to a picture and a description, and into the file of moxcEncode(), as far as the format has a place for them:
 *
 *                 JPEG  PNG  TIFF  BMP  JP2
 *   ICC profile   yes   yes  yes   RGB  of matrix and curves, or of CMYK
 *   Exif          yes   yes  yes   no   yes
 *   XMP           yes   yes  yes   no   yes
 *   IPTC          yes   yes  yes   no   yes
 *   comments      yes   yes  yes   no   yes
 *   others        APPn  no   no    no   uuid and xml boxes
 *   resolution    yes   yes  yes   yes  yes
 *
 * Codestreams without boxes have comments alone, other formats none. What is lost is noted; of files without metadata
 * only what changes how the picture looks: a profile that is not sRGB, and the Exif orientation. An ICC profile is
 * dropped if it does not describe the colours of the output. Blocks that are damaged are left out, with a note. */

typedef enum {
  moxcIcc = 0,     /* an ICC profile */
  moxcExif = 1,    /* a TIFF structure, from its byte-order mark on */
  moxcXmp = 2,     /* an XMP packet */
  moxcIptc = 3,    /* IPTC IIM data sets */
  moxcComment = 4, /* text */
  moxcOtherMetadata = 5,
  moxcResolution = 6 /* a MoxcDensity */
} MoxcMetadataKind;

/* How many samples the picture has in a metre. Without a unit only the ratio of the two numbers counts, which is that
 * of a pixel's height to its width. */
typedef struct {
  double horizontal, vertical; /* above 0 */
  int32_t ratioOnly;           /* 1: without a unit */
} MoxcDensity;

typedef struct {
  MoxcMetadataKind kind;
  const char* name; /* of other metadata the segment or box ("APP13"), of a comment its keyword; otherwise "" or NULL */
  const void* bytes;
  size_t byteCount;
} MoxcMetadata;

/* What `strip` of the options drops, to be added. Nothing is noted then but what changes the look. */
enum {
  moxcStripAll = 1,
  moxcStripIcc = 2,
  moxcStripExif = 4,
  moxcStripXmp = 8,
  moxcStripIptc = 16,
  moxcStripComment = 32,
  moxcStripOther = 64,
  moxcStripResolution = 128
};

/* ---- Pixels ------------------------------------------------------------------------------------------------------ */

/* The order of samples. Each sample takes 1, 2 or 4 bytes, in the byte order of the machine. */
typedef enum {
  moxcGrey = 1,
  moxcGreyAlpha = 2,
  moxcRgb = 3,
  moxcBgr = 4,
  moxcRgba = 5, /* opacity is straight, not premultiplied */
  moxcBgra = 6,
  moxcCmyk = 7,    /* 0 is no ink */
  moxcYCbCr = 8,   /* three planes, full range, ITU-R BT.601 as in JFIF; Cb and Cr may be sub-sampled */
  moxcPlanes = 9,  /* planes of any number, size and depth, without a common meaning */
  moxcRgb565 = 10, /* 16-bit words: red in the highest 5 bits, green in 6, blue in the lowest 5 */
  moxcRgb555 = 11  /* 16-bit words: the highest bit is 0, then 5 bits each of red, green and blue */
} MoxcLayout;

enum { moxcMaxPlanes = 16 };

typedef struct {
  void* samples;  /* the first sample of the top row */
  ptrdiff_t step; /* bytes from one row to the next; may be negative (bottom row first in memory); 0: without gaps */
  int32_t width;  /* in samples; 0: the width of the picture / dx, rounded up */
  int32_t height;
  int32_t dx, dy; /* sub-sampling: columns and rows of the picture for each sample, 1 to 255; 0: 1 */
  int32_t bits;   /* significant bits, the lowest of a sample: 1 to 31; 0: 8, or 16 if sampleSize is 2 */
  int32_t isSigned;
} MoxcPlane;

/* Samples in the caller's or the library's memory, at any address. Interleaved layouts use planes[0] alone, whose width
 * is in pixels; its samples are those of all channels of a row, without gaps. moxcYCbCr uses 3 planes, moxcPlanes
 * planeCount. Samples to be encoded must not be beyond maxValue (moxcBadArgument). */
typedef struct {
  size_t structSize;
  MoxcLayout layout;
  int32_t width; /* 1 to 2147483647 */
  int32_t height;
  int32_t sampleSize; /* bytes: 1, 2 or 4; 0: 1, or 2 if a plane has more than 8 bits, or 4 if more than 16 */
  uint32_t maxValue;  /* of full intensity; 0: the largest value of the bits of each plane */
  int32_t planeCount; /* of moxcPlanes: 1 to 16 */
  MoxcPlane planes[16];
} MoxcPixels;

/* Pixels of an interleaved layout: 1 byte a sample up to 8 bits, 2 up to 16, 4 above. A step of 0 is that of rows
 * without gaps. */
MOXC_INLINE MoxcPixels moxcPixels(
    MoxcLayout layout, int32_t width, int32_t height, int32_t bits, void* samples, ptrdiff_t step) {
  MoxcPixels pixels;
  memset(&pixels, 0, sizeof pixels);
  pixels.structSize = sizeof pixels;
  pixels.layout = layout;
  pixels.width = width;
  pixels.height = height;
  pixels.planeCount = 1;
  pixels.planes[0].samples = samples;
  pixels.planes[0].step = step;
  pixels.planes[0].width = width;
  pixels.planes[0].height = height;
  pixels.planes[0].bits = bits;
  return pixels;
}
/* The number of channels of an interleaved layout; 3 for moxcYCbCr, 0 for moxcPlanes, 1 for words. */
MOXC_API int32_t moxcChannels(MoxcLayout layout);

/* A picture that the library owns. */
typedef struct MoxcPicture MoxcPicture;

/* NULL is allowed, here and in all functions that free. */
MOXC_API void moxcPictureFree(MoxcPicture* picture);
/* Its samples, which live as long as the picture and may be changed. pixels->structSize must be set. */
MOXC_API MoxcKind moxcPicturePixels(const MoxcPicture* picture, MoxcPixels* pixels);
MOXC_API size_t moxcPictureMetadataCount(const MoxcPicture* picture);
MOXC_API MoxcKind moxcPictureMetadata(const MoxcPicture* picture, size_t index, MoxcMetadata* metadata);

/* ---- Describe ---------------------------------------------------------------------------------------------------- */

typedef struct MoxcDescription MoxcDescription;

typedef struct {
  size_t structSize;
  const char* format; /* "JPEG", "JPEG 2000", "PNG", "PPM", "PGM", "PAM", "PBM", "PGX", "BMP", "TIFF" */
  uint64_t width, height;
  int32_t channels; /* in the file, opacity included */
  int32_t bits;     /* per sample; the largest, if they differ */
} MoxcFacts;

/* Reads the headers of a file, as far as they can be read, even of kinds that cannot be decoded. On success
 * *description is for moxcDescriptionFree(). */
MOXC_API MoxcKind moxcDescribe(
    const MoxcSource* source, const MoxcRun* run, MoxcDescription** description, MoxcReport* report);
MOXC_API void moxcDescriptionFree(MoxcDescription* description);
MOXC_API MoxcKind moxcDescriptionFacts(const MoxcDescription* description, MoxcFacts* facts);
MOXC_API const char* moxcDescriptionText(const MoxcDescription* description); /* for people, many lines */
MOXC_API const char* moxcDescriptionJson(const MoxcDescription* description); /* the same, UTF-8 */
MOXC_API size_t moxcDescriptionMetadataCount(const MoxcDescription* description);
MOXC_API MoxcKind moxcDescriptionMetadata(const MoxcDescription* description, size_t index, MoxcMetadata* metadata);

/* ---- Decode ------------------------------------------------------------------------------------------------------ */

typedef struct {
  size_t structSize;
  int32_t reduce;     /* halves the picture this many times: JPEG 2000 by skipping resolution levels, 0 to 32; JPEG by
                       * smaller transforms, 0 to 3 */
  int32_t layers;     /* JPEG 2000: quality layers to decode; 0: all */
  int32_t nosmooth;   /* JPEG: 1: up-sample by repeating samples instead of interpolating */
  int32_t fastMcu;    /* JPEG: 1: decode 4:2:0, 4:2:2 and 4:4:4 MCU by MCU, faster, without interpolation */
  int32_t components; /* 1: components and inks as they are coded: no palette, no conversion of inks to RGB */
  int32_t orient;     /* 1: turn the pixels as the Exif orientation says; the orientation becomes 1. 0: a note says that
                       * the picture is turned */
  int32_t picture;    /* JPEG: which of several pictures that follow each other, from 1; 0: the first, and what follows
                       * it is noted */
  int32_t upsample;   /* JPEG 2000: 1: all components at the size of the reference grid. 0: a picture whose components
                       * are sub-sampled alike has their size */
  int32_t regionX;    /* a rectangle of the picture, in its pixels before it is reduced or turned; what lies beyond */
  int32_t regionY;    /* the picture is left out, with a note. Of a reduced picture, the pixels (x, y) for which */
  int32_t regionWidth;  /* (x, y) * 2^reduce lies in it. JPEG and JPEG 2000 files decode little more than is needed. */
  int32_t regionHeight; /* Width or height 0: as far as the edge */
  int32_t tilePlus1;    /* JPEG 2000: the number of a tile, from 0, + 1: the picture is that tile; not with a region */
  int32_t srgb;         /* 1: convert colours to sRGB, by ICC profile, colour space or gamma of the file; not with
                       * components. It needs the library lcms2 when a file has colours to convert */
} MoxcReadOptions;

/* No option given. */
MOXC_INLINE void moxcReadOptionsInit(MoxcReadOptions* options) {
  memset(options, 0, sizeof *options);
  options->structSize = sizeof *options;
}

/* Which samples are wanted. Zeros: what the file has, grey, RGB or RGBA of its own depth, or its planes. */
typedef struct {
  size_t structSize;
  MoxcLayout layout; /* 0: as the file has it. moxcYCbCr: of JPEG files as they are coded, not up-sampled */
  int32_t bits;      /* 0: those of the file; otherwise samples are scaled to it: 1 to 31, the same for all planes */
} MoxcWanted;

/* Decodes a file into a picture of the library's, for moxcPictureFree(). `options`, `wanted`, `run` and `report` may be
 * NULL. Samples that are lost (depth, opacity, colour) are noted in the report. */
MOXC_API MoxcKind moxcDecode(const MoxcSource* source, const MoxcReadOptions* options, const MoxcWanted* wanted,
    const MoxcRun* run, MoxcPicture** picture, MoxcReport* report);

/* Decodes a file into the caller's memory. Layout, sample size, depth and size of `pixels` must be set and the size
 * must be that of the picture (moxcDescribe gives it, before `reduce`, region and tile), otherwise moxcBadArgument and
 * nothing is written. */
MOXC_API MoxcKind moxcDecodeInto(const MoxcSource* source, const MoxcReadOptions* options, const MoxcPixels* pixels,
    const MoxcRun* run, MoxcReport* report);

/* Gets rows of a picture from top to bottom. `rows` describes them as a picture of `rows->height` rows whose top row is
 * row `y` of the picture; the memory is valid only during the call and must not be changed. The first call, with y = 0
 * and rows->height = 0, gives the layout alone, with the height of the picture in `height`. Returns 0 to go on,
 * anything else to cancel. */
typedef int (*MoxcRows)(void* context, const MoxcPixels* rows, int32_t y, int32_t height);

/* Decodes a file and hands its rows to a callback as they come. */
MOXC_API MoxcKind moxcDecodeRows(const MoxcSource* source, const MoxcReadOptions* options, const MoxcWanted* wanted,
    MoxcRows rows, void* context, const MoxcRun* run, MoxcReport* report);

/* ---- Encode ------------------------------------------------------------------------------------------------------ */

typedef enum {
  moxcSampleDefault = 0,
  moxcSample444 = 1,
  moxcSample422 = 2,
  moxcSample420 = 3,
  moxcSample440 = 4,
  moxcSample411 = 5,
  moxcSample410 = 6
} MoxcSample;

typedef enum {
  moxcProgressionDefault = 0,
  moxcLrcp = 1,
  moxcRlcp = 2,
  moxcRpcl = 3,
  moxcPcrl = 4,
  moxcCprl = 5
} MoxcProgression;

/* Code-block modes (ISO/IEC 15444-1 Table A.19), to be added. */
enum {
  moxcModeBypass = 1,
  moxcModeReset = 2,
  moxcModeTermall = 4,
  moxcModeCausal = 8,
  moxcModePterm = 16,
  moxcModeSegsym = 32
};

/* Where the tile-parts of a JPEG 2000 file begin. */
typedef enum {
  moxcTilePartsDefault = 0,     /* one for each tile */
  moxcTilePartsResolutions = 1, /* at every change of the resolution in the packet order */
  moxcTilePartsLayers = 2,
  moxcTilePartsComponents = 3
} MoxcTileParts;

typedef struct {
  size_t structSize;
  /* JPEG */
  int32_t quality;       /* 1, the smallest file, to 100, the best picture; 0: 75 */
  MoxcSample sample;     /* chroma sub-sampling; default 4:2:0 */
  int32_t grayscale;     /* 1: the luminance alone */
  int32_t progressive;   /* 1: progressive, with the same scans as cjpeg */
  const char* scans;     /* the text of a scan script as for cjpeg */
  int32_t optimize;      /* 1: optimal Huffman tables, in a second pass; progressive files always have them */
  int32_t fastMcu;       /* 1: colour conversion and sampling in one function per MCU, slightly less accurate */
  int32_t restart;       /* a restart marker every so many MCUs: 0 (none) to 65535 */
  int32_t restartInRows; /* 1: MCU rows instead of MCUs */
  /* JPEG and JPEG 2000 */
  int32_t lossless;  /* 1: the lossless process; JPEG 2000: 5/3 wavelet, the default if no size is given */
  int32_t predictor; /* of lossless JPEG, 1 to 7; 0: the one with the smallest file */
  int32_t point;     /* of lossless JPEG: the lowest bits that are dropped, 0 to 15 */
  /* JPEG 2000 */
  double ratio;        /* 9/7 wavelet, to this fraction of the size of the samples: 1 to 1000000 */
  double bpp;          /* the same, to so many bits per pixel */
  int32_t levelsPlus1; /* decomposition levels + 1: 1 to 33; 0: 5 levels */
  int32_t blockWidth;  /* code-blocks: powers of two from 4 to 1024, at most 4096 coefficients; 0: 64 */
  int32_t blockHeight;
  int32_t tileWidth; /* 0: the whole picture */
  int32_t tileHeight;
  MoxcProgression progression; /* default LRCP */
  int32_t layers;              /* 1 to 100; 0: 1 */
  int32_t modes;               /* of code-blocks */
  /* all formats */
  int32_t strip; /* metadata to drop: a sum of moxcStrip values */
  /* JPEG 2000. One of three lists, instead of ratio and bpp: what the quality layers have, from the first on. One value
   * is that of the last of `layers`. The last of several may be 0 (of ratios also 1): everything, without loss, by the
   * 5/3 wavelet. The arrays are copied. */
  const double* ratios; /* falling */
  int32_t ratioCount;   /* 0 to 100 */
  int32_t bppCount;
  const double* bpps;  /* rising */
  const double* psnrs; /* rising: dB, 1 to 200, of all samples together. See docs/tool.md for how exact it is */
  int32_t psnrCount;
  int32_t precinctCount;    /* of numbers: 2 for each size */
  const int32_t* precincts; /* width and height of the precincts of the highest resolution, of the next lower one ...
                             * powers of two from 4 to 32768; further resolutions have half of the last size */
  int32_t sop;              /* 1: a marker at the start of each packet */
  int32_t eph;              /* 1: a marker after each packet header */
  int32_t plt;              /* 1: the lengths of packets, in the headers of tile-parts */
  int32_t tlm;              /* 1: the lengths of tile-parts, in the main header */
  MoxcTileParts tileParts;  /* default one for each tile; at most 255 */
  int32_t roiX; /* a region of interest by max-shift: its coefficients come before all others; width 0: none */
  int32_t roiY;
  int32_t roiWidth;
  int32_t roiHeight;
  int32_t visual; /* 1: spend bytes where the eye sees them. See docs/tool.md */
  /* JPEG and JPEG 2000 */
  const char* comment; /* the text of a comment segment, besides metadata; NULL or "": none */
  /* JPEG */
  int32_t cmyk;          /* 1: code inks as they are; 0: as YCCK, whose chroma can be sub-sampled */
  int32_t rgb;           /* JPEG: 1: code red, green and blue as they are, not as YCbCr */
  const char* factors;   /* JPEG, instead of `sample`: sampling factors of each component, across and down, such as
                          * "2x1,1x1,1x1"; those that are missing are 1x1 */
  const char* qualities; /* JPEG, instead of `quality`: of each component, such as "90,80"; the last is that of all
                          * further ones */
  int32_t depth;         /* JPEG: bits per sample: 8, the default, or 12, extended sequential or progressive */
  /* BMP */
  int32_t words; /* 565 or 555: 16-bit words (moxcRgb565, moxcRgb555); 0: 8 bits a sample */
} MoxcWriteOptions;

/* No option given. */
MOXC_INLINE void moxcWriteOptionsInit(MoxcWriteOptions* options) {
  memset(options, 0, sizeof *options);
  options->structSize = sizeof *options;
}

/* Writes pixels as a file of a format. `metadata` has metadataCount blocks; what the format has no place for is noted.
 * `options`, `metadata`, `run` and `report` may be NULL. */
MOXC_API MoxcKind moxcEncode(const MoxcPixels* pixels, const char* format, const MoxcWriteOptions* options,
    const MoxcMetadata* metadata, size_t metadataCount, const MoxcTarget* target, const MoxcRun* run,
    MoxcReport* report);

/* The same, with the rows as they come. `layout` has the size of the whole picture; its samples are not used. What the
 * target and the run refer to (contexts, bytes, byteCount) must live until the encoder is freed. */
typedef struct MoxcEncoder MoxcEncoder;

/* On success *encoder is for moxcEncoderFree(). */
MOXC_API MoxcKind moxcEncoderOpen(const MoxcPixels* layout, const char* format, const MoxcWriteOptions* options,
    const MoxcMetadata* metadata, size_t metadataCount, const MoxcTarget* target, const MoxcRun* run,
    MoxcEncoder** encoder, MoxcReport* report);
/* The next rows, from top to bottom: pixels->height of them, with sub-sampling a multiple of each dy but at the end.
 * More rows than the picture has, or another layout: moxcBadArgument. After a failure only
 * moxcEncoderFree() is left. */
MOXC_API MoxcKind moxcEncoderRows(MoxcEncoder* encoder, const MoxcPixels* pixels, MoxcReport* report);
/* Completes the file. moxcBadArgument if rows are missing. */
MOXC_API MoxcKind moxcEncoderFinish(MoxcEncoder* encoder, MoxcReport* report);
/* Without moxcEncoderFinish() the output is discarded. */
MOXC_API void moxcEncoderFree(MoxcEncoder* encoder);

/* ---- Convert, transcode, compare --------------------------------------------------------------------------------- */

/* From file to file. PNG, PPM, PGM, PAM, PBM and baseline JPEG go through in strips. */
MOXC_API MoxcKind moxcConvert(const MoxcSource* source, const MoxcReadOptions* reading, const char* format,
    const MoxcWriteOptions* writing, const MoxcTarget* target, const MoxcRun* run, MoxcReport* report);

/* Fills *target, the output of plane `index` of `count`; what it points to must live until moxcConvertPlanes() returns.
 * Returns 0 to go on. */
typedef int (*MoxcOpenTarget)(void* context, int32_t index, int32_t count, MoxcTarget* target);

/* Writes each plane of a picture to a file of its own, as grey, in a format of plain samples. All planes are written
 * before the first of the files that are given by path gets its name. */
MOXC_API MoxcKind moxcConvertPlanes(const MoxcSource* source, const MoxcReadOptions* reading, const char* format,
    MoxcOpenTarget open, void* context, const MoxcRun* run, MoxcReport* report);

/* Turning and mirroring without loss. An MCU at the right or bottom edge that the picture does not fill (4:2:0 has MCUs
 * of 16 x 16 pixels) cannot be mirrored: it stays where it is, which the report notes, unless `trim` or `perfect` say
 * otherwise. */
typedef enum {
  moxcTransformNone = 0,
  moxcFlipHorizontal = 1, /* left and right change places */
  moxcFlipVertical = 2,   /* top and bottom change places */
  moxcTranspose = 3,      /* rows become columns: mirrored at the diagonal from the upper left corner */
  moxcTransverse = 4,     /* mirrored at the other diagonal */
  moxcRotate90 = 5,       /* clockwise */
  moxcRotate180 = 6,
  moxcRotate270 = 7
} MoxcTransform;

typedef struct {
  size_t structSize;
  int32_t optimize; /* 1: sequential with optimal tables; the tables are optimal by default, see sequential */
  int32_t progressive;
  const char* scans;  /* the text of a scan script */
  int32_t sequential; /* 1: sequential with the tables of T.81 Annex K, unless `optimize` is given */
  int32_t strip;      /* metadata to drop: a sum of moxcStrip values. moxcStripAll: all APPn and COM segments but JFIF
                       * and Adobe, which define the colours; moxcStripOther: also what follows the picture */
  int32_t restart;
  int32_t restartInRows;
  MoxcTransform transform;
  int32_t trim;      /* 1: drop edges that cannot be mirrored */
  int32_t perfect;   /* 1: refuse pictures with such edges (moxcBadOption) */
  int32_t grayscale; /* 1: the luminance alone */
  int32_t cropWidth; /* a rectangle of the transformed picture; its upper left corner moves to that of an MCU, and it */
  int32_t cropHeight; /* grows by as much; width or height 0: as far as the edge */
  int32_t cropX;
  int32_t cropY;
  int32_t orient;  /* 1: the transform that the Exif orientation asks for, which becomes 1; not with transform */
  int32_t picture; /* which of several pictures that follow each other, from 1, alone; 0: the first, and what follows */
} MoxcTranscodeOptions;

/* No option given. */
MOXC_INLINE void moxcTranscodeOptionsInit(MoxcTranscodeOptions* options) {
  memset(options, 0, sizeof *options);
  options->structSize = sizeof *options;
}

/* Codes the coefficients of a JPEG file again, with other scans and tables: every decoder shows the same picture, or
 * the same pixels in other places. */
MOXC_API MoxcKind moxcTranscode(const MoxcSource* source, const MoxcTranscodeOptions* options, const MoxcTarget* target,
    const MoxcRun* run, MoxcReport* report);

typedef struct {
  double meanSquare; /* mean squared error, in steps of the depth of the comparison */
  double psnr;       /* in dB; infinite if no sample differs */
  double ssim;       /* mean structural similarity, 1 if equal */
  uint32_t max;      /* the largest difference of two samples */
} MoxcDifference;

/* What a file has. */
typedef struct {
  uint64_t width, height; /* 0: it was not read */
  int32_t channels;       /* opacity included */
} MoxcShape;

typedef struct {
  size_t structSize;
  uint64_t width, height;
  int32_t channels;      /* opacity included */
  int32_t bits;          /* the depth of the comparison: the larger one of the two */
  const char* names[16]; /* "grey", "red", "opacity" ... */
  MoxcDifference channel[16];
  MoxcDifference all; /* over all channels; its SSIM is their mean */
  MoxcShape a, b;     /* of the two files: set also if they cannot be compared because they differ (moxcBadOption) */
} MoxcComparison;

/* Compares two files of the same size at the larger depth of both. A grey picture beside one in colour is compared as
 * colour, inks beside inks as inks and beside other colours as RGB, with a note; a picture without opacity beside one
 * with it counts as opaque. Planes that the colours do not explain are compared one by one, if both pictures have as
 * many (otherwise moxcBadOption). The reports are about reading a and b; what
 * fails is in the report of the file that caused it. Both reports may be NULL, or the same. */
MOXC_API MoxcKind moxcCompare(const MoxcSource* a, const MoxcSource* b, const MoxcRun* run, MoxcComparison* comparison,
    MoxcReport* reportA, MoxcReport* reportB);

/* ---- Version ----------------------------------------------------------------------------------------------------- */

/* That of the library in use, such as "5.1.0". MOXJ_VERSION of moxj.h has that of the headers. */
MOXC_API const char* moxcVersion(void);

/* Another library that the codec uses. */
typedef struct {
  const char* name;    /* "libpng" */
  const char* purpose; /* "PNG files" */
  const char* version; /* of the library in use, which may be loaded to ask it; NULL: it cannot be loaded */
} MoxcLibrary;

/* Library number `index`, counted from 0: 1 if there is one, otherwise 0. The texts stay valid. */
MOXC_API int moxcLibrary(size_t index, MoxcLibrary* library);

#ifdef __cplusplus
}
#endif

#endif
