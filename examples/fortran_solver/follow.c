// Follows a solver live: a line for each step of the field "temperature" as soon as it is written, until all
// are.
//
// Usage: follow FILE
#include <pdm.h>

#include <stdio.h>
#include <stdlib.h>
#include <time.h>

static void check(pdm_status status) {
  if (status == PDM_OK)
    return;
  fprintf(stderr, "%s\n", pdm_error_message());
  exit(1);
}

static void pause(void) {
  const struct timespec moment = {.tv_nsec = 5 * 1000 * 1000};
  nanosleep(&moment, NULL);
}

// The field, as soon as there are the file, the mesh and the first step.
static pdm_field* wait_for(const char* file, pdm_sim** sim, pdm_mesh** mesh) {
  for (int tries = 0; tries < 2000; ++tries, pause()) {
    pdm_field* field = NULL;
    if (*sim == NULL && pdm_open(file, PDM_LIVE, sim) != PDM_OK)
      continue;
    check(pdm_refresh(*sim));
    if (pdm_sim_mesh(*sim, mesh) == PDM_OK &&
        pdm_mesh_field(*mesh, PDM_NODES, "temperature", &field) == PDM_OK)
      return field;
  }
  check(pdm_error_status());
  return NULL;
}

int main(int argc, char** argv) {
  if (argc != 2)
    return 2;
  pdm_sim* sim = NULL;
  pdm_mesh* mesh = NULL;
  pdm_field* field = wait_for(argv[1], &sim, &mesh);
  int32_t steps = 0;
  check(pdm_mesh_count(mesh, PDM_STEPS, &steps));
  double* const times = malloc((size_t)steps * sizeof *times);
  check(pdm_mesh_times(mesh, times, (size_t)steps));
  double* values = NULL;
  for (int32_t shown = 0; shown < steps;) {
    pdm_field_info info = {.size = sizeof info};
    check(pdm_field_get_info(field, 0, &info));
    values = realloc(values, (size_t)info.rows * sizeof *values);
    for (; shown < info.steps; ++shown) {
      double most = 0;
      check(pdm_field_read_double(field, shown, values, (size_t)info.rows));
      for (int32_t i = 0; i < info.rows; ++i)
        most = values[i] > most ? values[i] : most;
      printf("step %d of %d at %.9g: at most %.9g %s\n", shown + 1, steps, times[shown], most, info.unit);
      fflush(stdout);
    }
    pause();
    check(pdm_refresh(sim));
  }
  check(pdm_close(sim));
  free(values);
  free(times);
  return 0;
}
