/* Parses mails with GMime to the depth that bench/parse.js asks of everybody: header fields decoded, every
 * leaf transfer-decoded, texts in UTF-8. gmime_parse <passes> <file...> prints the milliseconds of the best
 * pass over all files; reading them is not measured. */
#include <gmime/gmime.h>
#include <stdio.h>
#include <stdlib.h>
#include <time.h>

static size_t total;

static double now(void) {
  struct timespec t;
  clock_gettime(CLOCK_MONOTONIC, &t);
  return (double)t.tv_sec * 1e3 + (double)t.tv_nsec / 1e6;
}

static void read_part(GMimeObject *parent, GMimeObject *part, gpointer data) {
  (void)parent;
  (void)data;
  if (GMIME_IS_TEXT_PART(part)) {
    char *text = g_mime_text_part_get_text(GMIME_TEXT_PART(part));
    if (text != NULL) {
      total += strlen(text);
      g_free(text);
    }
  } else if (GMIME_IS_PART(part)) {
    GMimeDataWrapper *content = g_mime_part_get_content(GMIME_PART(part));
    if (content != NULL) {
      GMimeStream *memory = g_mime_stream_mem_new();
      g_mime_data_wrapper_write_to_stream(content, memory);
      total += (size_t)g_mime_stream_length(memory);
      g_object_unref(memory);
    }
    if (g_mime_part_get_filename(GMIME_PART(part)) != NULL) {
      ++total;
    }
  } else if (GMIME_IS_MESSAGE_PART(part)) {
    GMimeMessage *message = g_mime_message_part_get_message(GMIME_MESSAGE_PART(part));
    if (message != NULL) {
      g_mime_message_foreach(message, read_part, NULL);
    }
  }
}

static void read_addresses(InternetAddressList *list) {
  if (list != NULL) {
    char *text = internet_address_list_to_string(list, NULL, FALSE);
    if (text != NULL) {
      total += strlen(text);
      g_free(text);
    }
  }
}

static void parse(const char *bytes, size_t length) {
  GMimeStream *stream = g_mime_stream_mem_new_with_buffer(bytes, length);
  GMimeParser *parser = g_mime_parser_new_with_stream(stream);
  GMimeMessage *message = g_mime_parser_construct_message(parser, NULL);
  if (message != NULL) {
    GMimeHeaderList *headers = g_mime_object_get_header_list(GMIME_OBJECT(message));
    for (int i = 0; i < g_mime_header_list_get_count(headers); ++i) {
      const char *value = g_mime_header_get_value(g_mime_header_list_get_header_at(headers, i));
      total += value == NULL ? 0 : strlen(value);
    }
    if (g_mime_message_get_subject(message) != NULL) {
      total += strlen(g_mime_message_get_subject(message));
    }
    read_addresses(g_mime_message_get_from(message));
    read_addresses(g_mime_message_get_to(message));
    read_addresses(g_mime_message_get_cc(message));
    GDateTime *date = g_mime_message_get_date(message);
    if (date != NULL) {
      total += (size_t)g_date_time_to_unix(date);
    }
    g_mime_message_foreach(message, read_part, NULL);
    g_object_unref(message);
  }
  g_object_unref(parser);
  g_object_unref(stream);
}

int main(int argc, char **argv) {
  if (argc < 3) {
    fprintf(stderr, "usage: gmime_parse <passes> <file...>\n");
    return 2;
  }
  g_mime_init();
  int files = argc - 2;
  gchar **bytes = calloc((size_t)files, sizeof *bytes);
  gsize *lengths = calloc((size_t)files, sizeof *lengths);
  for (int i = 0; i < files; ++i) {
    if (!g_file_get_contents(argv[i + 2], &bytes[i], &lengths[i], NULL)) {
      fprintf(stderr, "cannot read %s\n", argv[i + 2]);
      return 1;
    }
  }
  double best = 0;
  for (int pass = 0; pass < atoi(argv[1]); ++pass) {
    const double start = now();
    for (int i = 0; i < files; ++i) {
      parse(bytes[i], lengths[i]);
    }
    const double took = now() - start;
    best = pass == 0 || took < best ? took : best;
  }
  printf("%.3f\n", best);
  return total == 0;
}
