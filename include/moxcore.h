/* libmoxcore: how many threads the parallel functions of libmoxj, and of libraries like it, may use. */
#ifndef MOXCORE_H
#define MOXCORE_H

#include <stdint.h>

#if defined(_WIN32)
#if defined(MOXCORE_BUILDING)
#define MOXCORE_API __declspec(dllexport)
#elif defined(MOXCORE_STATIC)
#define MOXCORE_API
#else
#define MOXCORE_API __declspec(dllimport)
#endif
#elif defined(__GNUC__)
#define MOXCORE_API __attribute__((visibility("default")))
#else
#define MOXCORE_API
#endif

#ifdef __cplusplus
extern "C" {
#endif

/*
 * The number of threads that a parallel region asks for. The libraries read it each time they start such a region and
 * never write it; values below 1 mean 1. moxj.h lists the functions concerned.
 *
 * It is 1 until somebody raises it: then all work stays on the calling thread. When libmoxcore is loaded it gets the
 * value of the environment variable MOX_NUM_THREADS if that is a whole number (below 1: 1; above 2147483647:
 * 2147483647; anything else is ignored). moxSetNumThreads() sets it at any time.
 *
 * When to raise it: a program with one thread that works on large regions, on a machine with idle processors. OpenMP's
 * threads wait for the next region by spinning, so set OMP_WAIT_POLICY=passive if the time between calls is long. A
 * program with threads of its own, one for each processor, leaves it at 1.
 *
 * A program that defines the variable itself, with a value other than 0, keeps that value.
 *
 * If the system cannot start a thread, g++'s OpenMP runtime ends the process with a message.
 *
 * Results never depend on it. It is one word without a lock: set it before, not during, calls from other threads.
 */
extern MOXCORE_API int32_t threads_omp_of_n_mox;

/*
 * Sets threads_omp_of_n_mox; a count below 1 is stored as 1. 1 keeps all work on the calling thread: so does
 * the child of a process that has raised it, after a fork(), where OpenMP's threads do not exist any more.
 */
MOXCORE_API void moxSetNumThreads(int32_t count);

/* The number of threads that a parallel region would ask for now: threads_omp_of_n_mox, at least 1. */
MOXCORE_API int32_t moxGetNumThreads(void);

#ifdef __cplusplus
}
#endif

#endif
