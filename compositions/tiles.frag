#version 330 core

in vec2 uv;
out vec4 pixel;

uniform int width;
uniform int height;
uniform int rows;
uniform int seed;
uniform float weight;
uniform bool glow;
uniform vec2 center;
uniform vec4 ground;
uniform vec4 warm;
uniform vec4 between;
uniform vec4 cool;

// Whole numbers only, so that every driver gives the same quilt.
uint scrambled(ivec2 cell) {
  uint x = uint(cell.x) * 0x9E3779B1u ^ uint(cell.y) * 0x85EBCA77u ^ uint(seed) * 0xC2B2AE3Du;
  x = (x ^ (x >> 15)) * 0x2C1B3C6Du;
  x = (x ^ (x >> 12)) * 0x297A2D39u;
  return x ^ (x >> 15);
}

// Distance to the nearest of the two arcs that cross the sides of a tile in their middles.
float distanceToArcs(vec2 p) {
  float low = abs(length(p + 0.5) - 0.5);
  float high = abs(length(p - 0.5) - 0.5);
  return min(low, high);
}

void main() {
  float aspect = float(width) / float(height);
  vec2 place = uv * vec2(aspect, 1.0);
  vec2 grid = place * float(max(rows, 1));
  ivec2 cell = ivec2(floor(grid));
  vec2 p = fract(grid) - 0.5;

  uint dice = scrambled(cell);
  if ((dice & 1u) == 1u) p.x = -p.x;

  float edge = float(max(rows, 1)) / float(height);
  float d = distanceToArcs(p);
  float reach = 0.5 * clamp(weight, 0.02, 0.5);
  float band = 1.0 - smoothstep(reach - edge, reach + edge, d);

  float away = length(place - center * vec2(aspect, 1.0));
  vec3 sun = mix(warm.rgb, between.rgb, smoothstep(0.05, 0.6, away));
  sun = mix(sun, cool.rgb, smoothstep(0.45, 1.15, away));
  float dome = sqrt(max(0.0, 1.0 - (d / reach) * (d / reach)));
  vec3 ribbon = sun * (0.55 + 0.5 * dome) + 0.16 * pow(dome, 8.0);

  float shadow = smoothstep(0.0, 0.5, d - reach);
  vec3 below = ground.rgb * (0.55 + 0.9 * shadow) + 0.05 * cool.rgb * float((dice >> 8) & 3u) / 3.0;
  vec3 color = mix(below, ribbon, band);
  if (glow) color += warm.rgb * (0.10 / (0.16 + away * away * 5.0)) * (0.35 + 0.65 * band);

  pixel = vec4(color, 1.0);
}
