#version 330 core

in vec2 uv;
out vec4 pixel;

uniform int width;
uniform int height;
uniform float phase;
uniform float scale;
uniform float swirl;
uniform vec4 paper;
uniform vec4 water;
uniform vec4 drop;

float scrambled(vec2 p) {
  vec3 q = fract(vec3(p.xyx) * 0.1031);
  q += dot(q, q.yzx + 33.33);
  return fract((q.x + q.y) * q.z);
}

float noise(vec2 p) {
  vec2 cell = floor(p), part = p - cell;
  part = part * part * (3.0 - 2.0 * part);
  return mix(mix(scrambled(cell), scrambled(cell + vec2(1.0, 0.0)), part.x),
             mix(scrambled(cell + vec2(0.0, 1.0)), scrambled(cell + 1.0), part.x), part.y);
}

float clouds(vec2 p) {
  float sum = 0.0, part = 0.5;
  for (int i = 0; i < 4; ++i) {
    sum += part * noise(p);
    p = mat2(1.6, 1.2, -1.2, 1.6) * p;
    part *= 0.5;
  }
  return sum;
}

// Clouds that are bent by clouds, which are bent by clouds.
void main() {
  vec2 p = (uv - 0.5) * vec2(float(width) / float(height), 1.0) * scale + 20.0;
  vec2 around = vec2(cos(0.1 * phase), sin(0.1 * phase));
  vec2 first = vec2(clouds(p + 1.5 * around), clouds(p + vec2(5.2, 1.3) - around.yx));
  vec2 second = vec2(clouds(p + swirl * first + vec2(1.7, 9.2) + 0.8 * around.yx),
                     clouds(p + swirl * first + vec2(8.3, 2.8) - 0.6 * around));
  float ink = clouds(p + swirl * second);

  float depth = smoothstep(0.25, 0.75, ink);
  vec3 color = mix(paper.rgb, water.rgb, smoothstep(0.05, 0.8, depth + 0.5 * (first.x - 0.4)));
  color = mix(color, drop.rgb, smoothstep(0.35, 0.75, second.y) * 0.8);
  color = mix(color, water.rgb * 0.25, smoothstep(0.5, 0.9, depth * (0.6 + second.x)));
  color += 0.22 * pow(first.y, 3.0) * paper.rgb;
  pixel = vec4(color, 1.0);
}
