/* Prints the points of a result: time, metric, what it was measured on, descriptor, value, unit.
 *
 *     read_result run.ztbin
 *     read_result run_0.ztjson run_1.ztjson     the files of a continuous run
 *
 * The same file compiles as C11 and as C++17. */
#include <inttypes.h>
#include <stdio.h>

#include "tavrin_reader.h"

static void printText(tavrin_text text) {
  fwrite(text.data, 1, text.length, stdout);
  putchar('\t');
}

static tavrin_status printPoint(const tavrin_reader* reader, const tavrin_point* point) {
  tavrin_series series;
  tavrin_metric metric;
  tavrin_text state;
  tavrin_status status = tavrin_get_series(reader, point->series, &series);
  if (status == TAVRIN_OK) status = tavrin_get_metric(reader, series.metric, &metric);
  if (status != TAVRIN_OK) return status;
  printf("%" PRIu64 "\t", point->time);
  printText(metric.name);
  printText(series.label);
  printText(series.descriptor);
  if (point->text == TAVRIN_NONE) {
    printf("%.9g\t", point->value);
  } else if (tavrin_get_text(reader, point->text, &state) == TAVRIN_OK) {
    printText(state);
  }
  printf("%.*s\n", (int)metric.units.length, metric.units.data);
  return TAVRIN_OK;
}

int main(int argc, char** argv) {
  tavrin_reader* reader = NULL;
  tavrin_point point;
  tavrin_status status = tavrin_open((const char* const*)(argv + 1), (size_t)(argc - 1), &reader);
  while (status == TAVRIN_OK) {
    status = tavrin_next(reader, &point);
    if (status == TAVRIN_OK) status = printPoint(reader, &point);
  }
  if (status == TAVRIN_FAULT) fprintf(stderr, "%s\n", tavrin_error(reader));
  if (status == TAVRIN_NO_MEMORY) fprintf(stderr, "out of memory\n");
  tavrin_close(reader);
  if (fflush(stdout) != 0 || ferror(stdout)) {
    fprintf(stderr, "cannot write to standard output\n");
    return 1;
  }
  return status == TAVRIN_END ? 0 : 1;
}
