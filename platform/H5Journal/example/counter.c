/* Counts how often it was run, in an HDF5 file that no death of this program can damage.
 * Build it with an installed package: cc counter.c $(pkg-config --cflags --libs H5Journal) */
#include <H5Journal/H5Journal.h>

#include <stdio.h>
#include <unistd.h>

static int fail(const char *what) {
  fprintf(stderr, "%s: %s\n", what, H5Jlast_error());
  return 1;
}

int main(int argc, char **argv) {
  const char *const name = argc > 1 ? argv[1] : "counter.h5";
  const hsize_t one = 1;
  int runs = 0;
  hid_t fapl = H5Pcreate(H5P_FILE_ACCESS), fcpl = H5Pcreate(H5P_FILE_CREATE);
  hid_t space = H5Screate_simple(1, &one, NULL), file, runs_set;
  H5Eset_auto2(H5E_DEFAULT, NULL, NULL);
  if (H5Pset_fapl_journal(fapl, NULL) < 0 || H5Pset_journal_mark(fcpl) < 0)
    return fail("properties");
  file = H5Fopen(name, H5F_ACC_RDWR, fapl); /* the journal of a run that died is brought home here */
  if (file < 0 && access(name, F_OK) == 0)
    return fail(name);
  if (file < 0) {
    file = H5Fcreate(name, H5F_ACC_EXCL, fcpl, fapl);
    runs_set = H5Dcreate2(file, "runs", H5T_STD_I32LE, space, H5P_DEFAULT, H5P_DEFAULT, H5P_DEFAULT);
  } else {
    runs_set = H5Dopen2(file, "runs", H5P_DEFAULT);
    H5Dread(runs_set, H5T_NATIVE_INT, H5S_ALL, H5S_ALL, H5P_DEFAULT, &runs);
  }
  ++runs;
  if (H5Dwrite(runs_set, H5T_NATIVE_INT, H5S_ALL, H5S_ALL, H5P_DEFAULT, &runs) < 0 || H5Jcommit(file) < 0)
    return fail("commit"); /* until here the file is as it was, whatever happens */
  if (H5Jclose(file) < 0)
    return fail("close");
  printf("run %d times\n", runs);
  return 0;
}
