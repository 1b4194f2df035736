/* Small utilities: exact file transfer, size texts, id and MAC conversions. */
#ifndef NASHAL_HAL_UTIL_H
#define NASHAL_HAL_UTIL_H

#include <stddef.h>
#include <stdint.h>

#include <nashal/hal_types.h>

#ifdef __cplusplus
extern "C" {
#endif

/* One row of a table that names small integer ids. */
typedef struct ID_STR_PAIR {
    int id;
    const char *str;
} ID_STR_PAIR;

/* Unit ids of Get_Size_Str; SIZE_UNIT_AUTO picks the unit. */
#define SIZE_UNIT_AUTO 0
#define SIZE_UNIT_BYTES 1
#define SIZE_UNIT_KB 2
#define SIZE_UNIT_MB 3
#define SIZE_UNIT_GB 4
#define SIZE_UNIT_TB 5
#define SIZE_UNIT_PB 6
#define SIZE_UNIT_EB 7
#define SIZE_UNIT_INVALID 8

/* 0 when all `length` bytes came (went), -1 otherwise; a length of 0 gives -1. Interrupted
 * calls are resumed. */
int read_exactly(int fd, void *buffer, size_t length);
int write_exactly(int fd, const void *data, size_t length);
/* Moves `length` bytes from one descriptor to another, 128 at a time. 0, or -1. */
int copy_exactly(int source_fd, int target_fd, uint64_t length);

/* The text of an id in a table, or null. */
const char *get_str_from_id(const ID_STR_PAIR *table, int rows, int id);

/* count x unit_size bytes as "1.50 GB" (two decimals; "1536 Bytes" for bytes) in the unit given,
 * or in the largest unit of which at least two are there with SIZE_UNIT_AUTO. Returns buffer. */
char *Get_Size_Str(uint64_t count, uint64_t unit_size, int unit, char *buffer, int size);

/* Bytes as upper-case hexadecimal text, two digits each ("00AB"). Returns buffer. */
char *num_to_ascii(const unsigned char *bytes, int count, char *buffer, int size);

/* "aa:bb:cc" (or "aabbcc") to bytes; returns how many were stored (at most capacity). */
int Translate_MAC_ASCII_To_Bin(const char *text, unsigned char *buffer, int capacity);
/* Bytes to "AA:BB:CC"; the length of the text, or 0 when size is below 3 x count. */
int Translate_MAC_Bin_To_ASCII(const unsigned char *bytes, int count, char *buffer, int size);

#ifdef __cplusplus
}
#endif

#endif /* NASHAL_HAL_UTIL_H */
