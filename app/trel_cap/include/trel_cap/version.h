/*
 * version.h - the version of these headers. It is numbered as Semantic Versioning has it: a program that was compiled
 * with one version works with every later library of the same major number.
 */
#ifndef TREL_CAP_VERSION_H
#define TREL_CAP_VERSION_H

/* The version of these headers: its parts, and all of it in words. */
#define TREL_CAP_VERSION_MAJOR 1
#define TREL_CAP_VERSION_MINOR 0
#define TREL_CAP_VERSION_PATCH 0
#define TREL_CAP_VERSION "1.0.0"

#endif
