/*
 * Thumbnails of files that come from anywhere: limits on pixels and memory, a time limit by the progress callback, and
 * one bad file does not stop the others. Each file is reduced by averaging boxes of pixels while its rows come, so that
 * no picture is in memory as a whole unless its format needs it.
 *
 * usage: codec_thumbnails FOLDER IN...      writes FOLDER/0.jpg, FOLDER/1.jpg ...
 */
#include <string.h>
#include <time.h>

#include "codec.h"

enum { kLongest = 128 }; /* pixels of the longer side, at most */

static const double kSeconds = 10; /* for each file */

/* Sums of the pixels of the boxes that the rows so far belong to. */
typedef struct Reduction {
  int32_t width, height, box; /* of the thumbnail; pixels of the file that become one */
  uint32_t* sums;             /* a row of the thumbnail */
  unsigned char* rgb;
} Reduction;

static int takeRows(void* context, const MoxcPixels* rows, int32_t y, int32_t height) {
  Reduction* r = context;
  int32_t row, x, c;
  if (rows->height == 0) { /* the first call: the size of the picture */
    const int32_t longest = rows->width > height ? rows->width : height;
    r->box = (longest + kLongest - 1) / kLongest;
    r->width = rows->width / r->box > 0 ? rows->width / r->box : 1;
    r->height = height / r->box > 0 ? height / r->box : 1;
    r->sums = calloc((size_t)r->width * 3, sizeof *r->sums);
    r->rgb = malloc((size_t)r->width * (size_t)r->height * 3);
    return !r->sums || !r->rgb;
  }
  for (row = 0; row < rows->height; row++, y++) {
    const unsigned char* from = (const unsigned char*)rows->planes[0].samples + row * rows->planes[0].step;
    /* A picture narrower than a box has columns and rows repeated; what is left of the last boxes is dropped. */
    const int last = (y + 1) % r->box == 0 || (height < r->box && y + 1 == height);
    const int32_t across = rows->width < r->box ? rows->width : r->box, down = height < r->box ? height : r->box;
    if (y / r->box >= r->height) break;
    for (x = 0; x < r->width * across * 3; x++) r->sums[x / 3 / across * 3 + x % 3] += from[x];
    if (!last) continue;
    for (c = 0; c < r->width * 3; c++)
      r->rgb[(size_t)(y / r->box) * (size_t)r->width * 3 + (size_t)c] =
          (unsigned char)(r->sums[c] / (uint32_t)(across * down));
    memset(r->sums, 0, (size_t)r->width * 3 * sizeof *r->sums);
  }
  return 0;
}

static int outOfTime(void* context, uint64_t done, uint64_t total) {
  (void)done;
  (void)total;
  return difftime(time(NULL), *(const time_t*)context) > kSeconds;
}

static MoxcKind makeThumbnail(const char* in, const char* out, MoxcReport* report) {
  const MoxcSource source = moxcFileSource(in);
  const MoxcTarget target = moxcFileTarget(out);
  const time_t start = time(NULL);
  MoxcLimits limits = {.structSize = sizeof limits};
  MoxcRun run = {.structSize = sizeof run};
  MoxcWanted wanted = {.structSize = sizeof wanted};
  Reduction r = {0, 0, 0, NULL, NULL};
  MoxcKind kind;
  limits.maxPixels = 100 * 1000 * 1000;
  limits.maxMemory = 512 * 1024 * 1024;
  limits.maxScans = 100;
  run.limits = &limits;
  run.progress = outOfTime;
  run.progressContext = (void*)&start;
  wanted.layout = moxcRgb;
  wanted.bits = 8;
  kind = moxcDecodeRows(&source, NULL, &wanted, takeRows, &r, &run, report);
  if (kind == moxcOk) {
    const MoxcPixels thumbnail = moxcPixels(moxcRgb, r.width, r.height, 8, r.rgb, 0);
    kind = moxcEncode(&thumbnail, "jpg", NULL, NULL, 0, &target, &run, report);
  }
  free(r.sums);
  free(r.rgb);
  return kind;
}

int main(int argc, char** argv) {
  MoxcReport* report = moxcReportNew();
  int i, made = 0;
  if (argc < 3 || !report) return EXIT_FAILURE;
  for (i = 2; i < argc; i++) {
    char out[4096];
    snprintf(out, sizeof out, "%s/%d.jpg", argv[1], i - 2);
    if (makeThumbnail(argv[i], out, report) == moxcOk)
      made++;
    else
      fprintf(stderr, "%s: %s\n", argv[i], moxcReportText(report));
  }
  printf("%d of %d thumbnails\n", made, argc - 2);
  moxcReportFree(report);
  return made == argc - 2 ? EXIT_SUCCESS : EXIT_FAILURE;
}
