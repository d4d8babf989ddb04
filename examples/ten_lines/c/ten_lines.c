// What most programs do with a simulation file: look what is in it, read, add a field, follow another
// program.
#include <pdm.h>

#include <stdio.h>
#include <stdlib.h>

static void check(pdm_status status) {
  if (status == PDM_OK)
    return;
  fprintf(stderr, "%s\n", pdm_error_message()); // file, path, operation and cause; also one by one
  exit(1);
}

int main(int argc, char** argv) {
  const char* file = argc > 1 ? argv[1] : "a.pdm";
  pdm_sim* sim;
  check(pdm_open(file, PDM_READ, &sim));
  pdm_mesh* mesh;
  check(pdm_sim_mesh(sim, &mesh));
  pdm_names* names;
  check(pdm_mesh_set_names(mesh, PDM_NODES, &names));
  for (int32_t i = 0; i < pdm_names_count(names); ++i)
    printf("node set \"%s\"\n", pdm_names_at(names, i));

  pdm_set* inlet;
  int32_t size, nodes;
  check(pdm_mesh_set(mesh, PDM_NODES, "inlet", &inlet));
  check(pdm_set_size(inlet, &size));
  int32_t* items = malloc((size_t)size * sizeof *items); // 0-based
  check(pdm_set_items(inlet, items, (size_t)size));

  pdm_field* field;
  check(pdm_mesh_count(mesh, PDM_NODES, &nodes));
  double* x = malloc((size_t)nodes * 3 * sizeof *x); // [nodes][3]
  check(pdm_mesh_field(mesh, PDM_NODES, "coordinates", &field));
  check(pdm_field_read_double(field, 0, x, (size_t)nodes * 3)); // checked against its checksums
  printf("the first inlet node is at %g %g %g\n", x[3 * items[0]], x[3 * items[0] + 1], x[3 * items[0] + 2]);

  int32_t drawer;
  double* t = malloc((size_t)nodes * sizeof *t);
  check(pdm_mesh_field(mesh, PDM_NODES, "temperature", &field));
  check(pdm_field_drawer_at(field, 0.5, &drawer));
  check(pdm_field_read_double(field, drawer, t, (size_t)nodes));
  printf("its temperature at 0.5 s is %g\n", t[items[0]]);

  pdm_system* system;
  pdm_numbering* numbering;
  pdm_numbering_info equations = {.size = sizeof equations};
  check(pdm_mesh_find_system(mesh, "modal analysis", &system));
  check(pdm_system_numbering(system, &numbering));
  check(pdm_numbering_get_info(numbering, &equations));
  printf("%d equations\n", equations.equations);
  check(pdm_close(sim)); // ends all handles made of it

  pdm_update* update;
  const pdm_field_options watts = {.size = sizeof watts, .unit = "W", .replace = 1};
  check(pdm_open(file, PDM_WRITE, &sim));
  check(pdm_begin(sim, &update)); // without pdm_commit() taken back, also by death
  check(pdm_sim_mesh(sim, &mesh));
  check(pdm_mesh_create_field(mesh, PDM_NODES, "heat", PDM_DOUBLE, t, (size_t)nodes, &watts, NULL));
  check(pdm_commit(update));
  check(pdm_close(sim));

  check(pdm_open(file, PDM_LIVE, &sim)); // also beside a program that is writing
  check(pdm_refresh(sim));
  check(pdm_close(sim));
  free(items);
  free(x);
  free(t);
  return 0;
}
