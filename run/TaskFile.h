// Reader of the job file "runtask.ini": the file as a vector of kept lines,
// and the get_parameter_* family that takes (and removes) one key from it.
#pragma once

#include <cstdio>
#include <vector>

#include "base/CString.h"

// Reads an opened text file into lines, as the job reader keeps them:
// records of at most 255 characters (fgets, 256 bytes), trailing codes <= 32
// removed, cut at the first ';', empty and '#' records dropped.
void read_task_lines(FILE* pFile, std::vector<CString>& lines);
// Same from a file name; false when the file cannot be opened (lines untouched).
bool read_task_file(const char* pszPath, std::vector<CString>& lines);

// Common head: lines, section with brackets ("[Source]"), key, place of the
// value. Result 0: found and consumed; 1: section present, key absent;
// 2: section absent. On 1 and 2 the value is left untouched.
int get_parameter_string(std::vector<CString>& lines, const char* section, const char* key, char* buf, int size);
int get_parameter_int(std::vector<CString>& lines, const char* section, const char* key, int* pValue);
int get_parameter_bool(std::vector<CString>& lines, const char* section, const char* key, bool* pValue);
int get_parameter_double(std::vector<CString>& lines, const char* section, const char* key, double* pValue);
int get_parameter_float(std::vector<CString>& lines, const char* section, const char* key, float* pValue);
