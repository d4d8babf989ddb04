// Uses every word of pdm.h: writes a file that others judge, and what must fail does, by its code and its
// words.
#include <pdm.h>

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

static int s_faults = 0;

#define CHECK(condition)                                                                                     \
  ((condition) ? (void)0                                                                                     \
               : (void)(++s_faults,                                                                          \
                        printf("%d: %s; the last error: %s\n", __LINE__, #condition, pdm_error_message())))
#define OK(call) CHECK((call) == PDM_OK)
#define FAILS(code, words, call)                                                                             \
  CHECK((call) == (code) && pdm_error_status() == (code) && strstr(pdm_error_message(), words) != NULL)

enum { kNodes = 6, kElements = 2 };
static const double kXyz[kNodes][3] = {{0, 0, 0}, {1, 0, 0}, {2, 0, 0}, {0, 1, 0}, {1, 1, 0}, {2, 1, 0}};

static void write_fields(pdm_mesh* mesh) {
  pdm_field_options options = {.size = sizeof options, .unit = "m", .deflate = 5, .chunk_rows = 4};
  OK(pdm_mesh_create_field(mesh, PDM_NODES, "coordinates", PDM_DOUBLE, kXyz, 18, &options, NULL));
  const int64_t labels[kNodes] = {10, 20, 30, 40, 50, INT64_C(1) << 40};
  OK(pdm_mesh_create_field(mesh, PDM_NODES, "label", PDM_INT64, labels, kNodes, NULL, NULL));
  const int32_t items[] = {1, 0}, quads[2][4] = {{1, 2, 5, 4}, {0, 1, 4, 3}};
  pdm_field_options block = {.size = sizeof block, .long_name = "QUAD4"};
  OK(pdm_mesh_create_set(mesh, PDM_ELEMENTS, "plate", items, 2, 0, &block.over));
  OK(pdm_mesh_create_field(mesh, PDM_ELEMENTS, "connectivity", PDM_INT32, quads, 8, &block, NULL));
  pdm_field* steps = NULL;
  OK(pdm_mesh_create_field(mesh, PDM_NODES, "temperature", PDM_FLOAT, NULL, 0,
                           &(pdm_field_options){.size = sizeof options, .unit = "K"}, &steps));
  for (int step = 0; step < 3; ++step) {
    float values[kNodes];
    for (int i = 0; i < kNodes; ++i)
      values[i] = (float)(300 + 10 * step + i);
    OK(pdm_field_append_float(steps, values, kNodes, NULL));
    OK(pdm_mesh_append_time(mesh, 0.25 * step));
  }
  OK(pdm_free(steps));
}

static void write_system(pdm_mesh* mesh) {
  pdm_system* modal = NULL;
  const int32_t masks[kNodes] = {0, 7, 7, 0, 3, 0}, order[] = {7, 6, 5, 4, 3, 2, 1, 0};
  const double hertz[] = {12.5, 80}, shapes[2 * 8] = {1, 2, 3, 4, 5, 6, 7, 8, 9};
  OK(pdm_mesh_create_system(mesh, "modal analysis", PDM_MODAL, &modal));
  OK(pdm_system_set_activity(modal, masks, kNodes));
  OK(pdm_system_set_order(modal, order, 8));
  OK(pdm_system_set_frequencies(modal, hertz, 2));
  OK(pdm_system_create_field(modal, "modeShapes", PDM_DOUBLE, shapes, 8, NULL, NULL));
}

static void write_file(const char* file) {
  pdm_sim* sim = NULL;
  pdm_mesh* mesh = NULL;
  pdm_update* update = NULL;
  OK(pdm_create(file, PDM_REPLACE, &sim));
  FAILS(PDM_NOT_FOUND, "the file has none", pdm_sim_mesh(sim, &mesh));
  OK(pdm_begin(sim, &update));
  OK(pdm_sim_create_mesh(sim, kNodes, kElements, &mesh));
  FAILS(PDM_FAILED, "has one", pdm_sim_create_mesh(sim, 1, 1, NULL));
  const int32_t inlet[] = {4, 1}, twice[] = {1, 1}, far[] = {6}, side[] = {0, 3}, elements[] = {1, 1};
  OK(pdm_mesh_create_set(mesh, PDM_NODES, "inlet", inlet, 2, 0, NULL));
  OK(pdm_mesh_create_set(mesh, PDM_NODES, "nobody", NULL, 0, 0, NULL));
  FAILS(PDM_FAILED, "already", pdm_mesh_create_set(mesh, PDM_NODES, "inlet", inlet, 1, 0, NULL));
  CHECK(pdm_mesh_create_set(mesh, PDM_NODES, "bad", twice, 2, 0, NULL) == PDM_FAILED);
  CHECK(pdm_mesh_create_set(mesh, PDM_NODES, "bad", far, 1, 0, NULL) == PDM_FAILED);
  OK(pdm_mesh_create_set(mesh, PDM_NODES, "old", inlet, 1, 0, NULL));
  OK(pdm_mesh_remove_set(mesh, PDM_NODES, "old"));
  FAILS(PDM_NOT_FOUND, "\"inlet\"", pdm_mesh_remove_set(mesh, PDM_NODES, "old"));
  OK(pdm_mesh_create_surface(mesh, "edge", elements, side, 2));
  write_fields(mesh);
  const int32_t nodes[] = {0, 1};
  FAILS(PDM_FAILED, "at most 0 elements", pdm_mesh_create_block(mesh, NULL, "BAR2", 2, nodes, 2));
  write_system(mesh);
  OK(pdm_mesh_create_field(mesh, PDM_MESH, "old", PDM_INT32, side, 1, NULL, NULL));
  OK(pdm_mesh_remove_field(mesh, PDM_MESH, "old"));
  FAILS(PDM_NOT_FOUND, "old", pdm_mesh_remove_field(mesh, PDM_MESH, "old"));
  OK(pdm_commit(update));
  FAILS(PDM_BAD_HANDLE, "has ended", pdm_commit(update));

  OK(pdm_begin(sim, &update)); // left to pdm_free(): taken back
  OK(pdm_mesh_create_set(mesh, PDM_NODES, "gone", inlet, 2, 0, NULL));
  pdm_update* inner = update;
  FAILS(PDM_BAD_ARGUMENT, "an update is open", pdm_begin(sim, &inner));
  CHECK(inner == NULL);
  pdm_system* plain = NULL;
  OK(pdm_mesh_create_system(mesh, "without activity", PDM_MODAL, &plain));
  int32_t masks[kNodes];
  FAILS(PDM_NOT_FOUND, "none is stored", pdm_system_activity(plain, masks, kNodes));
  CHECK(pdm_refuse(plain, PDM_WRONG_TYPE, "compare", "too wide") == PDM_WRONG_TYPE &&
        strcmp(pdm_error_path(), "discreteModel/mesh/systems/1") == 0);
  FAILS(PDM_WRONG_TYPE, "compare: too wide", pdm_refuse(NULL, PDM_WRONG_TYPE, "compare", "too wide"));
  CHECK(pdm_is_open(update) == 1 && pdm_free(update) == PDM_OK && pdm_is_open(update) == 0);
  OK(pdm_begin(sim, &update)); // since the one before has ended
  OK(pdm_rollback(update));
  pdm_set* gone = NULL;
  FAILS(PDM_NOT_FOUND, "\"inlet\"", pdm_mesh_set(mesh, PDM_NODES, "gone", &gone));
  OK(pdm_close(sim));
}

static void read_meshes(pdm_mesh* mesh) {
  int32_t count = 0, items[4] = {-7, -7, -7, -7}, sides[2];
  const int of[] = {PDM_NODES, PDM_ELEMENTS, PDM_STEPS, PDM_SURFACES, PDM_BLOCKS, PDM_REGIONS};
  const int32_t expected[] = {kNodes, kElements, 3, 1, 1, 0};
  for (int i = 0; i < 6; ++i)
    CHECK(pdm_mesh_count(mesh, of[i], &count) == PDM_OK && count == expected[i]);
  FAILS(PDM_BAD_ARGUMENT, "kind 99", pdm_mesh_count(mesh, 99, &count));
  CHECK(pdm_mesh_dimension(mesh, &count) == PDM_OK && count == 3);
  int64_t labels[kNodes];
  double times[3];
  CHECK(pdm_mesh_labels(mesh, PDM_NODES, labels, kNodes) == PDM_OK && labels[5] == INT64_C(1) << 40);
  CHECK(pdm_mesh_labels(mesh, PDM_ELEMENTS, labels, kNodes) == PDM_OK && labels[1] == 2);
  CHECK(pdm_mesh_times(mesh, times, 3) == PDM_OK && times[2] == 0.5);
  pdm_block_info block = {.size = sizeof block};
  CHECK(pdm_mesh_block(mesh, 0, &block) == PDM_OK && block.elements == 2 && block.nodes_per_element == 4 &&
        strcmp(block.type, "QUAD4") == 0);
  FAILS(PDM_NOT_FOUND, "no such block, the mesh has 1", pdm_mesh_block(mesh, 1, &block));

  pdm_names* names = NULL;
  OK(pdm_mesh_set_names(mesh, PDM_NODES, &names));
  CHECK(pdm_names_count(names) == 2 && strcmp(pdm_names_at(names, 1), "nobody") == 0 &&
        pdm_names_at(names, 2) == NULL);
  pdm_set* set = NULL;
  OK(pdm_mesh_set(mesh, PDM_NODES, "inlet", &set));
  FAILS(PDM_SHORT_BUFFER, "room for 1, needed is 2", pdm_set_items(set, items, 1));
  CHECK(pdm_error_needed() == 2 && items[0] == -7 &&
        strcmp(pdm_error_path(), "discreteModel/mesh/nodeSets/inlet") == 0);
  CHECK(pdm_set_items(set, items, 4) == PDM_OK && items[0] == 4 && items[1] == 1 && items[2] == -7);
  CHECK(pdm_mesh_surface_size(mesh, "edge", &count) == PDM_OK && count == 2);
  CHECK(pdm_mesh_surface(mesh, "edge", items, sides, 2) == PDM_OK && items[1] == 1 && sides[0] == 0 &&
        sides[1] == 3);
}

static void read_fields(pdm_mesh* mesh) {
  pdm_field *x = NULL, *heat = NULL, *connectivity = NULL;
  double wide[18];
  float narrow[18];
  int32_t drawer = -1;
  OK(pdm_mesh_field(mesh, PDM_NODES, "coordinates", &x));
  CHECK(pdm_field_read_double(x, PDM_ONLY, wide, 18) == PDM_OK && memcmp(wide, kXyz, sizeof wide) == 0);
  CHECK(pdm_field_read_rows(x, 0, 4, 2, PDM_DOUBLE, wide, 6) == PDM_OK && wide[3] == 2);
  FAILS(PDM_WRONG_TYPE, "float64 numbers do not all fit into float32",
        pdm_field_read_float(x, 0, narrow, 18));
  FAILS(PDM_SHORT_BUFFER, "needed is 18", pdm_field_read_double(x, 0, wide, 17));
  FAILS(PDM_NOT_FOUND, "6 rows", pdm_field_read_rows(x, 0, 5, INT32_MAX, PDM_DOUBLE, wide, 18));
  FAILS(PDM_BAD_ARGUMENT, "no type 4", pdm_field_read(x, 0, 4, wide, 18));
  FAILS(PDM_FAILED, "reading only", pdm_field_write_double(x, 0, wide, 18));

  OK(pdm_mesh_field(mesh, PDM_NODES, "temperature", &heat));
  pdm_field_info info = {.size = sizeof info};
  CHECK(pdm_field_get_info(heat, 1, &info) == PDM_OK && info.steps == 3 && info.type == PDM_FLOAT &&
        info.rows == kNodes && info.components == 1 && strcmp(info.unit, "K") == 0 &&
        strcmp(info.name, "temperature") == 0);
  struct {
    size_t size;
    int32_t drawers, untouched;
  } old = {offsetof(pdm_field_info, steps), 0, 77}; // of an older header
  CHECK(pdm_field_get_info(heat, 0, (pdm_field_info*)&old) == PDM_OK && old.drawers == 3 &&
        old.untouched == 77);
  CHECK(pdm_field_drawer_at(heat, 0.5, &drawer) == PDM_OK && drawer == 2);
  CHECK(pdm_field_read_double(heat, drawer, wide, 18) == PDM_OK && wide[5] == 325); // float into double
  FAILS(PDM_NOT_FOUND, "the nearest", pdm_field_drawer_at(heat, 0.3, &drawer));
  FAILS(PDM_NOT_FOUND, "3 drawers: say which", pdm_field_read_float(heat, PDM_ONLY, narrow, 18));
  FAILS(PDM_NOT_FOUND, "no such drawer, the field has 3", pdm_field_read_float(heat, 3, narrow, 18));

  pdm_set* over = NULL;
  int32_t items[2];
  OK(pdm_mesh_field(mesh, PDM_ELEMENTS, "connectivity", &connectivity));
  OK(pdm_field_set(connectivity, 0, &over));
  CHECK(pdm_set_items(over, items, 2) == PDM_OK && items[0] == 1 && items[1] == 0);
}

static void read_systems(pdm_mesh* mesh) {
  pdm_system* modal = NULL;
  pdm_numbering* numbering = NULL;
  pdm_system_info info = {.size = sizeof info};
  pdm_numbering_info numbers = {.size = sizeof numbers};
  double hertz[2];
  int32_t nodes[8], labels[8], order[8], equation;
  FAILS(PDM_NOT_FOUND, "no \"statics\"", pdm_mesh_find_system(mesh, "statics", &modal));
  FAILS(PDM_NOT_FOUND, "no such system, the mesh has 1", pdm_mesh_system(mesh, 1, &modal));
  CHECK(modal == NULL);
  OK(pdm_mesh_system(mesh, 0, &modal));
  CHECK(pdm_system_get_info(modal, &info) == PDM_OK && info.kind == PDM_MODAL && info.modes == 2 &&
        info.shapes == 1 && strcmp(info.name, "modal analysis") == 0);
  CHECK(pdm_system_frequencies(modal, hertz, 2) == PDM_OK && hertz[1] == 80);
  OK(pdm_system_numbering(modal, &numbering));
  CHECK(pdm_numbering_get_info(numbering, &numbers) == PDM_OK && numbers.equations == 8 &&
        numbers.labels == 3 && numbers.has_order == 1 && numbers.places == 8);
  CHECK(pdm_numbering_equations(numbering, nodes, labels, 8) == PDM_OK && nodes[7] == 4 && labels[7] == 2);
  FAILS(PDM_SHORT_BUFFER, "needed is 8", pdm_numbering_equations(numbering, nodes, NULL, 7));
  CHECK(pdm_numbering_equation(numbering, 2, 3, &equation) == PDM_OK && equation == 5);
  CHECK(pdm_numbering_equation(numbering, 0, 3, &equation) == PDM_OK && equation == -1);
  CHECK(pdm_numbering_order(numbering, order, 8) == PDM_OK && order[0] == 7);
  int32_t masks[6], rows, columns[64];
  int64_t begin[9], entries;
  pdm_pattern* pattern = NULL;
  CHECK(pdm_system_activity(modal, masks, 6) == PDM_OK && masks[2] == 7 && masks[4] == 3 && masks[5] == 0);
  OK(pdm_mesh_pattern(mesh, numbering, &pattern)); // all equations meet in one element
  CHECK(pdm_pattern_size(pattern, &rows, &entries) == PDM_OK && rows == 8 && entries == 64);
  FAILS(PDM_SHORT_BUFFER, "needed is 9", pdm_pattern_read(pattern, begin, 8, columns, 64));
  CHECK(pdm_pattern_read(pattern, begin, 9, columns, 64) == PDM_OK && begin[8] == 64 && columns[63] == 7);
}

/// Every call on a handle that is not what it should be answers PDM_BAD_HANDLE and touches nothing.
static void use_dead(void* h) {
  int32_t n = -1;
  int64_t wide[1];
  double d[1] = {0};
  void* out = &n; // never followed
  pdm_block_info block = {.size = sizeof block};
  pdm_field_info field = {.size = sizeof field};
  pdm_system_info system = {.size = sizeof system};
  pdm_numbering_info numbering = {.size = sizeof numbering};
  const pdm_status all[] = {pdm_close(h),
                            pdm_refresh(h),
                            pdm_begin(h, (pdm_update**)&out),
                            pdm_commit(h),
                            pdm_rollback(h),
                            pdm_sim_mesh(h, (pdm_mesh**)&out),
                            pdm_sim_create_mesh(h, 1, 1, (pdm_mesh**)&out),
                            pdm_mesh_count(h, 0, &n),
                            pdm_mesh_dimension(h, &n),
                            pdm_mesh_labels(h, 0, wide, 1),
                            pdm_mesh_times(h, d, 1),
                            pdm_mesh_set_times(h, d, 1),
                            pdm_mesh_append_time(h, 1),
                            pdm_mesh_block(h, 0, &block),
                            pdm_mesh_set_names(h, 0, (pdm_names**)&out),
                            pdm_mesh_set(h, 0, "a", (pdm_set**)&out),
                            pdm_mesh_create_set(h, 0, "a", &n, 1, 0, NULL),
                            pdm_mesh_remove_set(h, 0, "a"),
                            pdm_mesh_remove_field(h, 0, "a"),
                            pdm_set_size(h, &n),
                            pdm_set_items(h, &n, 1),
                            pdm_mesh_surface_names(h, (pdm_names**)&out),
                            pdm_mesh_surface_size(h, "a", &n),
                            pdm_mesh_surface(h, "a", &n, &n, 1),
                            pdm_mesh_create_surface(h, "a", &n, &n, 1),
                            pdm_mesh_field_names(h, 0, (pdm_names**)&out),
                            pdm_mesh_field(h, 0, "a", (pdm_field**)&out),
                            pdm_mesh_create_field(h, 0, "a", PDM_DOUBLE, d, 1, NULL, NULL),
                            pdm_field_get_info(h, 0, &field),
                            pdm_field_read(h, 0, PDM_DOUBLE, d, 1),
                            pdm_field_read_rows(h, 0, 0, 1, PDM_DOUBLE, d, 1),
                            pdm_field_write(h, 0, PDM_DOUBLE, d, 1),
                            pdm_field_append(h, PDM_DOUBLE, d, 1, NULL),
                            pdm_field_drawer_at(h, 0, &n),
                            pdm_field_set(h, 0, (pdm_set**)&out),
                            pdm_mesh_system_names(h, (pdm_names**)&out),
                            pdm_mesh_system(h, 0, (pdm_system**)&out),
                            pdm_mesh_find_system(h, "a", (pdm_system**)&out),
                            pdm_mesh_create_system(h, "a", 0, NULL),
                            pdm_system_get_info(h, &system),
                            pdm_system_field_names(h, (pdm_names**)&out),
                            pdm_system_field(h, "a", (pdm_field**)&out),
                            pdm_system_create_field(h, "a", PDM_DOUBLE, d, 1, NULL, NULL),
                            pdm_system_frequencies(h, d, 1),
                            pdm_system_set_frequencies(h, d, 1),
                            pdm_system_mode_shapes(h, (pdm_field**)&out),
                            pdm_system_set_activity(h, &n, 1),
                            pdm_system_activity(h, &n, 1),
                            pdm_system_set_order(h, &n, 1),
                            pdm_system_numbering(h, (pdm_numbering**)&out),
                            pdm_numbering_get_info(h, &numbering),
                            pdm_numbering_labels(h, &n, 1),
                            pdm_numbering_equations(h, &n, &n, 1),
                            pdm_numbering_equation(h, 0, 1, &n),
                            pdm_numbering_order(h, &n, 1),
                            pdm_mesh_pattern(h, h, (pdm_pattern**)&out),
                            pdm_pattern_size(h, &n, wide),
                            pdm_pattern_read(h, wide, 1, &n, 1)};
  for (size_t i = 0; i < sizeof all / sizeof *all; ++i)
    if (all[i] != PDM_BAD_HANDLE)
      printf("call %d of use_dead() took a handle that is none\n", (int)i), ++s_faults;
  CHECK(n == -1 && pdm_names_count(h) == 0 && pdm_names_at(h, 0) == NULL && pdm_share(h) == NULL);
}

static void refuse_handles(const char* file) {
  pdm_sim *sim = NULL, *again = NULL;
  pdm_mesh *mesh = NULL, *kept = NULL;
  pdm_field* field = NULL;
  OK(pdm_open(file, PDM_READ, &sim));
  OK(pdm_sim_mesh(sim, &mesh));
  OK(pdm_mesh_field(mesh, PDM_NODES, "coordinates", &field));
  FAILS(PDM_BAD_HANDLE, "expected a mesh, found a field",
        pdm_mesh_dimension((pdm_mesh*)field, &(int32_t){0}));
  pdm_field* none = field;
  FAILS(PDM_BAD_ARGUMENT, "NULL", pdm_mesh_field(mesh, PDM_NODES, NULL, &none));
  CHECK(none == NULL);
  FAILS(PDM_BAD_ARGUMENT, "NULL", pdm_mesh_field(mesh, PDM_NODES, "coordinates", NULL));
  CHECK((kept = pdm_share(mesh)) != NULL && (again = pdm_share(sim)) != NULL);
  OK(pdm_free(mesh));
  FAILS(PDM_BAD_HANDLE, "has ended", pdm_free(mesh));
  OK(pdm_free(NULL));
  OK(pdm_free(sim)); // open still, by its other handle
  CHECK(pdm_mesh_dimension(kept, &(int32_t){0}) == PDM_OK);
  use_dead(mesh);
  OK(pdm_close(again));
  void* const dead[] = {NULL, sim, again, kept, field, (void*)&sim, (void*)(uintptr_t)0x12345677};
  for (int i = 0; i < 7; ++i)
    use_dead(dead[i]);
  for (int i = 2; i < 7; ++i)
    CHECK(pdm_free(dead[i]) == PDM_BAD_HANDLE);
}

static void refuse_files(const char* file) {
  pdm_sim *sim = (pdm_sim*)&sim, *other = NULL;
  FAILS(PDM_FAILED, "missing.pdm: open a file: ", pdm_open("missing.pdm", PDM_READ, &sim));
  CHECK(sim == NULL && strcmp(pdm_error_file(), "missing.pdm") == 0 && pdm_error_path()[0] == '\0' &&
        strcmp(pdm_error_operation(), "open a file") == 0 && pdm_error_cause()[0] != '\0');
  FAILS(PDM_BAD_ARGUMENT, "no such mode", pdm_open(file, 4, &sim));
  FAILS(PDM_BAD_ARGUMENT, "NULL", pdm_open(NULL, PDM_READ, &sim));
  FAILS(PDM_FAILED, file, pdm_create(file, 0, &sim));
  OK(pdm_open(file, PDM_WRITE | PDM_POWER, &sim));
  CHECK(pdm_open(file, PDM_WRITE, &other) == PDM_FAILED);
  OK(pdm_close(sim));
}

int main(int argc, char** argv) {
  const char* const file = argc > 1 ? argv[1] : "c.pdm";
  pdm_sim* sim = NULL;
  pdm_mesh* mesh = NULL;
  write_file(file);
  for (int mode = PDM_READ; mode <= PDM_UNTRUSTED; ++mode) {
    if (mode == PDM_WRITE)
      continue;
    OK(pdm_open(file, mode, &sim));
    OK(pdm_sim_mesh(sim, &mesh));
    read_meshes(mesh);
    read_fields(mesh);
    read_systems(mesh);
    OK(pdm_close(sim));
  }
  refuse_handles(file);
  refuse_files(file);
  return s_faults == 0 ? 0 : 1;
}
