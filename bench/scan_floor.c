/* The floor for bench/scan: the least a walk of a tree can cost on Linux. A bare program making the
 * calls Kelvor's walker makes (open each folder, read it with getdents64 into a 256 KiB buffer,
 * statx each regular file relative to the folder without following links) on N threads around one
 * locked stack of folders, adding up allocated bytes and nothing else: no hard-link bookkeeping, no
 * buckets, no report. Kelvor's time over this one is what its own work costs.
 *
 *   scan_floor THREADS ROOT     prints "<bytes> <files>" (every name of a file, its bytes each time)
 */
#define _GNU_SOURCE
#include <fcntl.h>
#include <pthread.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#define BUFFER_BYTES 262144

static pthread_mutex_t lock = PTHREAD_MUTEX_INITIALIZER;
static pthread_cond_t wake = PTHREAD_COND_INITIALIZER;
static char** stack;
static size_t depth, room;
static int busy;
static uint64_t total_bytes, total_files;

static void push(char* path) {
    if (depth == room) {
        room = room ? room * 2 : 1024;
        stack = realloc(stack, room * sizeof *stack);
        if (!stack) abort();
    }
    stack[depth++] = path;
}

static char* pop(void) {
    pthread_mutex_lock(&lock);
    while (depth == 0 && busy > 0) pthread_cond_wait(&wake, &lock);
    char* path = depth ? stack[--depth] : NULL;
    if (path) ++busy;
    pthread_mutex_unlock(&lock);
    return path;
}

static void* worker(void* unused) {
    (void)unused;
    char* buffer = malloc(BUFFER_BYTES);
    uint64_t bytes = 0, files = 0;
    char* path;
    while ((path = pop())) {
        size_t length = strlen(path);
        int fd = open(path, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
        char** found = NULL;
        size_t count = 0, capacity = 0;
        long got;
        while (fd >= 0 && (got = syscall(SYS_getdents64, fd, buffer, BUFFER_BYTES)) > 0) {
            for (long at = 0; at < got;) {
                unsigned short record;
                memcpy(&record, buffer + at + 16, 2);
                unsigned char type = (unsigned char)buffer[at + 18];
                const char* name = buffer + at + 19;
                at += record;
                if (name[0] == '.' && (!name[1] || (name[1] == '.' && !name[2]))) continue;
                if (type == 4) { /* DT_DIR */
                    size_t name_length = strlen(name);
                    char* child = malloc(length + name_length + 2);
                    memcpy(child, path, length);
                    child[length] = '/';
                    memcpy(child + length + 1, name, name_length + 1);
                    if (count == capacity) {
                        capacity = capacity ? capacity * 2 : 64;
                        found = realloc(found, capacity * sizeof *found);
                    }
                    found[count++] = child;
                } else if (type == 8) { /* DT_REG */
                    struct statx info;
                    if (statx(fd, name, AT_SYMLINK_NOFOLLOW | AT_STATX_DONT_SYNC, STATX_TYPE | STATX_BLOCKS, &info) == 0 &&
                        S_ISREG(info.stx_mode)) {
                        bytes += info.stx_blocks * 512;
                        ++files;
                    }
                }
            }
        }
        if (fd >= 0) close(fd);
        free(path);
        pthread_mutex_lock(&lock);
        for (size_t i = 0; i < count; ++i) push(found[i]);
        --busy;
        pthread_cond_broadcast(&wake);
        pthread_mutex_unlock(&lock);
        free(found);
    }
    pthread_mutex_lock(&lock);
    total_bytes += bytes;
    total_files += files;
    pthread_mutex_unlock(&lock);
    free(buffer);
    return NULL;
}

int main(int argc, char** argv) {
    if (argc != 3 || atoi(argv[1]) < 1) {
        fprintf(stderr, "usage: scan_floor THREADS ROOT\n");
        return 2;
    }
    int threads = atoi(argv[1]);
    push(strdup(argv[2]));
    pthread_t* ids = calloc((size_t)threads, sizeof *ids);
    for (int i = 0; i < threads; ++i) pthread_create(&ids[i], NULL, worker, NULL);
    for (int i = 0; i < threads; ++i) pthread_join(ids[i], NULL);
    printf("%llu %llu\n", (unsigned long long)total_bytes, (unsigned long long)total_files);
    return 0;
}
